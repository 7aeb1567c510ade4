#include "RequestGuards.h"

#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <map>

namespace viewer {

namespace {

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return char(std::tolower(c)); });
  return text;
}

bool containsNoCase(const std::string& text, const std::string& part) {
  return lowerCase(text).find(part) != std::string::npos;
}

}  // namespace

std::string makeToken() {
  unsigned char bytes[32];
  std::size_t got = 0;
  while (got < sizeof bytes) {
    const ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
    if (n <= 0)
      return std::string();
    got += std::size_t(n);
  }
  static const char kHex[] = "0123456789abcdef";
  std::string token;
  for (unsigned char byte : bytes) {
    token += kHex[byte >> 4];
    token += kHex[byte & 15];
  }
  return token;
}

bool isUsableToken(const std::string& token) {
  if (token.empty() || token.size() > 256)
    return false;
  return std::all_of(token.begin(), token.end(), [](unsigned char c) {
    return std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~';
  });
}

bool sameToken(const std::string& expected, const std::string& given) {
  unsigned difference = expected.size() == given.size() ? 0u : 1u;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const unsigned char theirs = i < given.size() ? static_cast<unsigned char>(given[i]) : 0u;
    difference |= static_cast<unsigned char>(expected[i]) ^ theirs;
  }
  return difference == 0;
}

std::vector<std::string> allowedHosts(const std::string& listenAddress, int port) {
  const std::string suffix = ":" + std::to_string(port);
  std::vector<std::string> hosts{"127.0.0.1" + suffix, "localhost" + suffix};
  const std::string own = lowerCase(listenAddress) + suffix;
  if (std::find(hosts.begin(), hosts.end(), own) == hosts.end())
    hosts.push_back(own);
  return hosts;
}

bool isAllowedHost(const std::vector<std::string>& allowed, const std::string& hostHeader) {
  const std::string host = lowerCase(hostHeader);
  return std::find(allowed.begin(), allowed.end(), host) != allowed.end();
}

bool isAllowedOrigin(const std::vector<std::string>& allowed, const std::string& origin) {
  const std::string scheme = "http://";
  const std::string lower = lowerCase(origin);
  return lower.compare(0, scheme.size(), scheme) == 0 &&
         isAllowedHost(allowed, lower.substr(scheme.size()));
}

std::string resolvePageFile(const std::string& pageDir, const std::string& rawTarget,
                            const std::string& decodedPath) {
  // Encoded dots, separators and NULs have no business in a page address;
  // refusing them outright beats trusting one decoding pass.
  const std::string rawPath = rawTarget.substr(0, rawTarget.find('?'));
  for (const char* encoded : {"%2e", "%2f", "%5c", "%00", "%25"}) {
    if (containsNoCase(rawPath, encoded))
      return std::string();
  }
  if (decodedPath.empty() || decodedPath[0] != '/' ||
      decodedPath.find_first_of(std::string("\\%\0", 3)) != std::string::npos)
    return std::string();
  std::string relative = decodedPath == "/" ? std::string("/index.html") : decodedPath;
  // Every segment must be a plain name: no "", ".", ".." (which also rules
  // out "//" and so absolute paths after the first slash).
  std::size_t start = 1;
  while (start <= relative.size()) {
    const std::size_t end = std::min(relative.find('/', start), relative.size());
    const std::string segment = relative.substr(start, end - start);
    if (segment.empty() || segment == "." || segment == "..")
      return std::string();
    start = end + 1;
  }
  char resolved[PATH_MAX];
  if (realpath((pageDir + relative).c_str(), resolved) == nullptr)
    return std::string();
  const std::string file = resolved;
  if (file.compare(0, pageDir.size() + 1, pageDir + "/") != 0)
    return std::string();
  struct stat info;
  if (stat(file.c_str(), &info) != 0 || !S_ISREG(info.st_mode))
    return std::string();
  return file;
}

std::string contentTypeOf(const std::string& file) {
  static const std::map<std::string, std::string> kTypes{
      {".html", "text/html; charset=utf-8"},    {".js", "text/javascript; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},      {".png", "image/png"},
      {".svg", "image/svg+xml"},                {".json", "application/json"},
      {".ico", "image/x-icon"}};
  const std::size_t dot = file.rfind('.');
  if (dot != std::string::npos) {
    auto found = kTypes.find(lowerCase(file.substr(dot)));
    if (found != kTypes.end())
      return found->second;
  }
  return "application/octet-stream";
}

}  // namespace viewer
