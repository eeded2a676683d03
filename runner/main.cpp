#include "runner/cli.h"

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <initializer_list>
#endif

int main(int argc, char** argv) {
#if defined(_WIN32)
    for (std::FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);  // lines end as in files
    std::setvbuf(stderr, nullptr, _IONBF, 0);  // where it is no terminal it would have a buffer
#endif
    return zam::runner::run_program(argc, argv);
}
