#pragma once

#include <string_view>

namespace veltra {

// The page for browsers, cut where the recording's JSON comes.
extern const std::string_view pageBeforeRecording;
extern const std::string_view pageAfterRecording;

}  // namespace veltra
