// Shows how a library status becomes the Win32/HRESULT code a caller sees.
#include <cmskit/cmskit.h>

#include <cstdio>

int main() {
  const int statuses[] = {0, 16, 28, 205, 206, 501};
  for (int status : statuses)
    std::printf("status %3d -> 0x%08X\n", status, static_cast<unsigned>(cmskit::StatusToWin32(status)));
  return 0;
}
