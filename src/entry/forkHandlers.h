#pragma once

// Lets the application fork at any moment: the agent's locks are taken before, so that no other
// thread is in the middle of anything, and given back in the parent and made anew in the child.

// Makes every lock anew, in a child that has one thread.
void renewLocks();

// Registers with the C library. Called once, at start-up.
void registerForkHandlers();
