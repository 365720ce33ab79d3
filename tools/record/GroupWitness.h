#pragma once

#include <sys/types.h>

#include <span>

#include "recorder/FileDescriptor.h"

namespace veltra {

// Knows which signals were sent to the launcher's whole process group: a process of that group
// which does nothing but hold them. A terminal, a shell or `timeout` signals the group, and its
// other members have the signal then without the launcher's help.
class GroupWitness {
public:
    // Starts the process, which inherits the caller's blocked signals. `arguments` are the
    // launcher's own: the process wipes its copy, so that whoever signals the launcher by its name
    // does not mean the witness. Throws std::system_error when the system refuses.
    explicit GroupWitness(std::span<char* const> arguments);
    GroupWitness(const GroupWitness&) = delete;
    GroupWitness& operator=(const GroupWitness&) = delete;
    ~GroupWitness();

    // Whether the signal, which the caller has just received, was sent to the group. Answers yes
    // but once for each such signal, and no when the witness is gone.
    bool received(int signal) const;

private:
    FileDescriptor channel_;
    pid_t process_;
};

}  // namespace veltra
