#pragma once
// Where the build put the programs and libraries that tests start or load,
// and where the sources they read lie.

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace buildpaths {

// The build folder: VELTRA_BINARY_DIR when set, else the folder above the test
// program's own bin/ folder, so the tests also run outside ctest.
inline std::string binaryDir() {
  const char* dir = std::getenv("VELTRA_BINARY_DIR");
  if (dir != nullptr && *dir != '\0') {
    return dir;
  }
  char exe[4096] = {0};
  const ssize_t got = readlink("/proc/self/exe", exe, sizeof exe - 1);
  std::string path = got > 0 ? std::string(exe, size_t(got)) : std::string("./bin/test");
  for (int up = 0; up < 2; ++up) {
    const size_t slash = path.rfind('/');
    path = slash == std::string::npos ? std::string(".") : path.substr(0, slash);
  }
  return path;
}

// The source tree: VELTRA_SOURCE_DIR when set (ctest sets it), else the one
// the tests were built from.
inline std::string sourceDir() {
  const char* dir = std::getenv("VELTRA_SOURCE_DIR");
  return dir != nullptr && *dir != '\0' ? std::string(dir) : std::string(VELTRA_TEST_SOURCE_DIR);
}

inline std::string pluginPath() {
  return binaryDir() + "/lib/veltra.so";
}

}  // namespace buildpaths
