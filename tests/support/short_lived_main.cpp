// The program of a task that ends soon, with this status.
//
//     short-lived MILLISECONDS STATUS

#include <chrono>
#include <cstdlib>
#include <thread>

int main(int argc, char *argv[])
{
    constexpr int decimal = 10;
    const auto number = [&](int index) {
        return index < argc ? std::strtol(argv[index], nullptr, decimal) : 0;
    };
    std::this_thread::sleep_for(std::chrono::milliseconds(number(1)));
    return static_cast<int>(number(2));
}
