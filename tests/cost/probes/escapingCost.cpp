// Escapes a payload of 64 KiB so many times.
//
// usage: veltra_probe_escapingCost text|printable|random|newlines COUNT

#include <cstdlib>
#include <string>

#include "bench/payloads.h"
#include "recording/PrintBuffer.h"

int main(int argc, char** argv) {
    using namespace veltra::bench;
    if (argc != 3) return 2;
    constexpr std::size_t size = 64 * 1024;
    const std::string name = argv[1];
    const std::string payload = name == "text"        ? textPayload(size)
                                : name == "printable" ? printablePayload(size)
                                : name == "random"    ? randomPayload(size)
                                                      : newlinePayload(size);
    for (int i = std::atoi(argv[2]); i > 0; --i) {
        PrintBuffer buffer;
        buffer.appendAttr(RecorderMessageAttribute::data, payload.data(), size);
        if (buffer.length() < size) return 1;
    }
}
