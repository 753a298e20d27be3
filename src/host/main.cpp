#include "host/Cli.h"

int main(int argc, char** argv) { return velmora::host::run(argc, argv); }
