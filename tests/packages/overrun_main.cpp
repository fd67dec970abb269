// Reads as many bytes from standard input as its argument says into a place for sixteen. Built like
// what ships, the C library ends it where they are more, before any is read.

#include <cstdlib>

#include <unistd.h>

int main(int argc, char *argv[])
{
    char place[16];
    const std::size_t count = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : sizeof place;
    return read(STDIN_FILENO, place, count) < 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
