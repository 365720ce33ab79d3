#pragma once

#include <cstdio>
#include <string>

// The trace of a traced look-up.
inline std::string lookUpLine(const char* name, const void* found) {
    char text[100];
    std::snprintf(text, sizeof(text), "[INFO ]Get_addr(%s)=> %08lx", name,
                  reinterpret_cast<unsigned long>(found));
    return text;
}
