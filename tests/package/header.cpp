// The public headers alone, as the strictest user compiles them.
#include <zolt_burst.h>
#include <zolt_mfdenoise.h>

int main() {
  zolt_burst_close(nullptr);
  return zolt_mfUnInitialize(nullptr);
}
