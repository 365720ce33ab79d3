#pragma once

// Notes this process as the one that the memory belongs to. Called at start-up and in every forked
// child.
void claimMemory();

// True in a child that runs in its parent's memory until it executes another program (vfork): what
// it does to its own descriptors must not change what the parent knows of its own. Makes a system
// call; keeps errno.
bool isMemoryBorrowed();
