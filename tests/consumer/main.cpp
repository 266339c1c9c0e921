// Builds against an installed cmskit64 through its one public header.
#include <cmskit/cmskit.h>

#include <cstdio>

int main() {
  cmskit::IdentObj oid;
  oid = "1.2.643.2.2.21";
  if (oid.size() != 14) return 1;
  if (cmskit::StatusToWin32(206) != 0x80093103u) return 2;
  std::puts("consumer ok");
  return 0;
}
