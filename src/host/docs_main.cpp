// Writes the documents made from the program's command line, for the build:
// its bash completion, and the manual page's sections that help2man adds to
// what it makes of `velmora --help`.
#include <fstream>
#include <iostream>
#include <string_view>

#include "host/Documentation.h"

int main(int argc, char** argv) {
  const std::string_view what = argc == 3 ? argv[1] : "";
  // The installed program's rule, not the path of the tree the documents are made in.
  const velmora::host::CommandLine commandLine(
      "../share/velmora from the program's directory; a program in its build tree without one uses the source "
      "tree's resources/");
  std::string text;
  if (what == "bash-completion")
    text = velmora::host::bashCompletion(commandLine);
  else if (what == "manual-sections")
    text = velmora::host::manualSections(commandLine);
  if (text.empty()) {
    std::cerr << "usage: velmora-docs bash-completion|manual-sections FILE\n";
    return 2;
  }
  std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out) {
    std::cerr << "velmora-docs: cannot write " << argv[2] << "\n";
    return 1;
  }
  return 0;
}
