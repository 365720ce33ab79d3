#include "recording/messageNames.h"

const char* const MARKER_RMT[11] = {"process", "addrinfo", "connect",    "send",
                                    "receive", "copyfile", "close",      "accept",
                                    "exit",    "debug",    "notrecorded"};

const char* const ATTRIBUTE_VELTRA[24] = {
    "commandline", "workingdir",   "data",      "duration",   "family",   "from",
    "ip",          "length",       "name",      "pid",        "port",     "return",
    "socket",      "ticket",       "timestamp", "to",         "error",    "info",
    "duration_ns", "timestamp_ns", "localport", "sockserror", "loopback", "archi"};

const char* const MARKER_RMAT[5] = {"I4", "U4", "I8", "AS", "UN"};
