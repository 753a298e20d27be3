#include "host/Cli.h"

#include <iostream>

namespace velmora::host {

int run(int, char**) {
  std::cerr << "velmora: not built yet\n";
  return 1;
}

}  // namespace velmora::host
