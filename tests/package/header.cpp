// The public header alone, as the strictest user compiles it.
#include <zolt_mfdenoise.h>

int main() {
  return zolt_mfUnInitialize(nullptr);
}
