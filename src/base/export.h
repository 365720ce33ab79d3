#pragma once

// Marks what the library exports. Everything else is hidden, and the linker's list (exports.map)
// has to agree.
#define VELTRA_EXPORT __attribute__((visibility("default")))
