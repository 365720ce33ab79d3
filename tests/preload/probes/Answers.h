#pragma once

#include "../nextlib/NextLibrary.h"
#include "Probe.h"

namespace probe {

// Lays out the answer to the next call on the descriptor. Without the library that gives answers
// there is nothing to lay out.
inline void answerNext(const char* call, int fd, long result, int error) {
    const auto layOut = exported<NextAnswer>("nextAnswer");
    if (layOut != nullptr) layOut(call, fd, result, error);
}

}  // namespace probe
