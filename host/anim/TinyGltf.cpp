// tinygltf is header-only: its implementation is compiled here and nowhere
// else (the tests' reader links this copy through libHostAnim). The host
// writes no images, so stb_image stays out; those switches change the
// TinyGLTF class itself, so they are set for every user of the header in
// host/CMakeLists.txt.
#define TINYGLTF_IMPLEMENTATION
#include <tiny_gltf.h>
