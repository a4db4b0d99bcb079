#include "cli.hpp"

int main(int argc, char** argv) { return kolvo::host::run(argc, argv); }
