// Reads a number of bytes, its argument, from standard input into room for sixteen. With the build
// options of a package the C library ends the program before it reads more.

#include <cstdlib>

#include <unistd.h>

int main(int argc, char *argv[])
{
    char place[16];
    const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : sizeof place;
    return read(STDIN_FILENO, place, count) < 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
