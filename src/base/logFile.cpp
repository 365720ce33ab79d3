#include <stdio_ext.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/logStream.h"
#include "base/utils.h"

constinit std::atomic<char*> debugFileNameFlush{nullptr};

namespace {

constinit std::FILE* hLogFile = nullptr;
constinit bool defaultDebugDisplayInitialized = false;

// The start second in UTC, as it stands in the log file's name.
void formatStartTime(char (&text)[80]) {
    const time_t now = time(nullptr);
    tm utc;
    text[0] = '\0';
    if (gmtime_r(&now, &utc) == nullptr) return;
    text[strftime(text, sizeof(text), "%Y-%m-%d-%H_%M_%S", &utc)] = '\0';
}

void writeHeader(const char* fileName, const char* directory) {
    if (internal_buffer_display == nullptr || hLogFile == nullptr) return;
    const int length =
        snprintf(internal_buffer_display, static_cast<std::size_t>(internal_buffer_display_size),
                 "[%s]debug level : %d\t debug dir : %s\t debug file : %s\t pid : %d\n",
                 IMAGE_DEBUG[TRACE_INFO], getDebugLvl(), directory, fileName,
                 currentProcessId.load(std::memory_order_relaxed));
    const int written = std::clamp(length, 0, internal_buffer_display_size - 1);
    writeLogLine(hLogFile, internal_buffer_display, static_cast<std::size_t>(written));
}

// Opens the log file in `directory`, which is created if it is missing. False when memory is short.
bool openLogFileIn(const char* directory, const char* prefix) {
    mkdir(directory, 0777);
    const std::size_t size = std::strlen(directory) + 10;
    auto* const path = static_cast<char*>(malloc(size));
    if (path == nullptr) return false;
    snprintf(path, size, "%s/", directory);
    char* fileName = nullptr;
    std::size_t fileNameSize = 0;
    build_debug_file_name(path, prefix, ".txt", &fileName, &fileNameSize);
    set_file_display(fileName, path);
    free(fileName);
    free(path);
    return true;
}

}  // namespace

void set_default_debug_display(const char* prefix) {
    if (defaultDebugDisplayInitialized) return;
    const char* const level = getenv("VELTRA_SOCKET_AGENT_DEBUG_LVL");
    debugLvl.store(level == nullptr ? 0 : static_cast<std::int32_t>(strtol(level, nullptr, 10)),
                   std::memory_order_relaxed);
    const char* const directory = getenv("VELTRA_SOCKET_AGENT_DEBUG_DIR");
    if (getDebugLvl() == 0 || directory == nullptr) {
        set_file_display(nullptr, nullptr);
    } else if (!openLogFileIn(directory, prefix)) {
        return;
    }
    defaultDebugDisplayInitialized = true;
}

void set_file_display(const char* fileName, const char* directory) {
    free(debugFileNameFlush.exchange(nullptr, std::memory_order_relaxed));
    initializeCriticalSections();
    if (fileName == nullptr) return;
    char* const copy = strdup(fileName);
    if (copy == nullptr) return;
    hLogFile = openLogStream(fileName);
    writeHeader(fileName, directory);
    // Last, because the name opens the gate for other threads' lines.
    debugFileNameFlush.store(copy, std::memory_order_release);
}

void build_debug_file_name(const char* dir, const char* prefix, const char* suffix, char** name,
                           std::size_t* size) {
    currentProcessId.store(getpid(), std::memory_order_relaxed);
    char startTime[80];
    formatStartTime(startTime);
    char processPart[16];
    snprintf(processPart, sizeof(processPart), "_%d",
             currentProcessId.load(std::memory_order_relaxed));
    *size = std::strlen(dir) + std::strlen(prefix) + 2 + std::strlen(suffix) +
            std::strlen(startTime) + std::strlen(processPart);
    *name = static_cast<char*>(malloc(*size));
    if (*name == nullptr) return;
    snprintf(*name, *size, "%s%s_%s%s%s", dir, prefix, startTime, processPart, suffix);
}

void writeToLogFile(const char* line, std::size_t length) {
    if (hasLogFile() && hLogFile != nullptr) writeLogLine(hLogFile, line, length);
}

void dropUnwrittenLines() {
    if (hLogFile != nullptr) __fpurge(hLogFile);
}
