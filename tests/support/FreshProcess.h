#pragma once

#include <functional>

namespace veltra::testing {

// Runs the body in a process of its own, for what a process can do only once. Failed assertions of
// the body fail the test. The state that is to be fresh must not have been touched by the caller.
void inFreshProcess(const std::function<void()>& body);

// The same by a user who has no special rights, also when root runs the tests.
void asOrdinaryUser(const std::function<void()>& body);

}  // namespace veltra::testing
