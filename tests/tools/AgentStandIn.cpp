// Something for tests to find in a process.
extern "C" int veltraAgentStandIn;
int veltraAgentStandIn = 1;
