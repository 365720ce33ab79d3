#include <cstring>

#include "base/utils.h"

std::uint32_t Mystrlen(const char* text) {
    return static_cast<std::uint32_t>(std::strlen(text));
}

void Mystrtolower(char* text) {
    for (; *text != '\0'; ++text) {
        if (*text >= 'A' && *text <= 'Z') *text = static_cast<char>(*text - 'A' + 'a');
    }
}

void Mymemset(char* buffer, char value, std::uint32_t count) {
    std::memset(buffer, value, count);
}
