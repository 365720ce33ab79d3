#pragma once

// The words of the message format. Values are indices into the tables.

enum class RecorderMessageKind : int {
    process = 0,
    addrinfo = 1,
    connect = 2,
    send = 3,
    receive = 4,
    copyfile = 5,
    close = 6,
    accept = 7,
    exit = 8,
    debug = 9,
    notrecorded = 10,
};

enum class RecorderMessageAttribute : int {
    commandline = 0,
    workingdir = 1,
    data = 2,
    duration = 3,
    family = 4,
    from = 5,
    ip = 6,
    length = 7,
    name = 8,
    pid = 9,
    port = 10,
    returnValue = 11,
    socket = 12,
    ticket = 13,
    timestamp = 14,
    to = 15,
    error = 16,
    info = 17,
    durationNs = 18,
    timestampNs = 19,
    localport = 20,
    sockserror = 21,
    loopback = 22,
    archi = 23,
};

enum class RecorderMessageAttributeType : int {
    signed32 = 0,
    unsigned32 = 1,
    signed64 = 2,
    bytes = 3,
    wideText = 4,
};

// Element names, attribute names and type markers, in the order of the enumerations above.
extern const char* const MARKER_RMT[11];
extern const char* const ATTRIBUTE_VELTRA[24];
extern const char* const MARKER_RMAT[5];
