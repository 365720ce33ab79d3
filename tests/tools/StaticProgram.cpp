// Says that it runs, and ends with an exit status of its own.
#include <cstdio>

int main(int argc, char** /*argv*/) {
    std::printf("run with %d arguments\n", argc - 1);
    return 3;
}
