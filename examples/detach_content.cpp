// Takes the content out of a signed message file, streaming it to a file,
// and writes the message without its content.
// Usage: example_detach_content MESSAGE.p7s CONTENT-OUT DETACHED-OUT.p7s
#include <cmskit/cmskit.h>

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s MESSAGE CONTENT-OUT DETACHED-OUT\n", argv[0]);
    return 2;
  }
  cmskit::CTOOFile in(argv[1], "rb");
  cmskit::SignData message;
  int error = 0;
  if (!in.IsOpen() || message.ReadObject(in, 0, &error) == 0 || error != 0) return 1;
  std::string target = argv[2];
  cmskit::ToSignStruct out;
  out.flags = cmskit::ToSignStruct::kInFile;  // content goes to the file named by out.data
  out.data = &target[0];
  if (!message.DetachData(out, &error)) return 1;
  cmskit::CTOOFile detached(argv[3], "wb");
  return detached.IsOpen() && message.WriteObject(detached, 0) != 0 ? 0 : 1;
}
