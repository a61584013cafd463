// A program may have another choice of ATL than the library had.
#include <cstdio>

#include <KuvAuth/ServiceClient/Encoders.h>

#if !__has_include(<atlexcept.h>)
#error "the test needs the header of ATL, or one in its place"
#endif

int main() {
  const unsigned char byte = 0;
  try {
    // Too long: it throws before it reads.
    static_cast<void>(Kuv::Util::Base64Encode(&byte, 0x20000000));
  } catch (const CAtlException& exception) {
    std::printf("0x%08lX\n", static_cast<unsigned long>(exception.m_hr));
  } catch (...) {
    std::puts("another exception");
  }
}
