#include "runner/cli.h"

int main(int argc, char** argv) { return zam::runner::run_program(argc, argv); }
