#pragma once
// The checks that keep the viewer server obeying only its own page: a server
// on 127.0.0.1 is reachable from every web page the user visits, so each
// request must prove it comes from a page this server handed out.

#include <string>
#include <vector>

namespace viewer {

// 32 bytes from the system's secure source as 64 hex digits; empty if the
// source cannot be read (the server then refuses to start).
std::string makeToken();
// Whether a token given on the command line can travel in an address.
bool isUsableToken(const std::string& token);
// Compares in time that depends only on the expected token's length, so the
// answer's timing tells nothing about how much of a guess was right.
bool sameToken(const std::string& expected, const std::string& given);

// The Host values a request may carry ("127.0.0.1:8765", "localhost:8765",
// and the --host address), lower case.
std::vector<std::string> allowedHosts(const std::string& listenAddress, int port);
bool isAllowedHost(const std::vector<std::string>& allowed, const std::string& hostHeader);
// An Origin is allowed only when it is this server's own: "http://" + an
// allowed Host.
bool isAllowedOrigin(const std::vector<std::string>& allowed, const std::string& origin);

// The file under pageDir (a real, absolute folder) that the request target
// names, or "" when it names none: "..", "." or empty segments, encoded
// separators, dots or NULs, backslashes, absolute paths, anything outside the
// folder once links are resolved, and anything but a regular file. "/" is
// index.html.
std::string resolvePageFile(const std::string& pageDir, const std::string& rawTarget,
                            const std::string& decodedPath);
// The Content-Type of a page file, by extension.
std::string contentTypeOf(const std::string& file);

}  // namespace viewer
