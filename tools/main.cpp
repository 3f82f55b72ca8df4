#include <iostream>

#include "commands.h"

int main(int argc, char** argv) {
  return zolt::RunZoltBurst(argc, argv, std::cout, std::cerr);
}
