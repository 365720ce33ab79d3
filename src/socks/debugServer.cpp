#include "socks/Socks.h"

constinit int debugSocket = -1;
constinit const char* debugIpVal = nullptr;
constinit int debugPortVal = 5150;
constinit int debugServerActive = 0;
constinit char initializationDone = 1;

void initializeDebugServer() {}

void sendDebugMessage(const char*) {}
