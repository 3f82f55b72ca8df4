#include <iostream>

#include "program.h"

int main(int argc, char** argv) {
  return zolt::RunZoltBurst(argc, argv, std::cout, std::cerr);
}
