#pragma once

namespace veltra {

// Takes the places of standard streams that the launcher was started without, so that none of its
// own descriptors gets there and is taken for one. The command is still started without them.
void reserveStandardStreams();

}  // namespace veltra
