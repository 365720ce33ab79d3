#include "ReportRun.h"

namespace veltra::testing {

ReportRun::ReportRun(const std::string& recording, const std::string& script) {
    folder_.makeFile("recording", recording);
    outcome_ = run("PROBE='" VELTRA_PAGE_PROBE "'; cd '" + folder_.path().string() + "'; " + script,
                   VELTRA_REPORTER);
}

const char* const shortConversation =
    "<process timestamp_I4=\"0\" ticket_I4=\"1\" workingdir_AS=\"/tmp\" pid_I4=\"64\" "
    "archi_AS=\"LINUX\"/>\n"
    "<connect localport_I4=\"c000\" pid_I4=\"64\" timestamp_I8=\"1a1fbf6c000\" ticket_I4=\"2\" "
    "socket_I8=\"3\" duration_I4=\"1\" family_AS=\"AF_INET\" ip_AS=\"127.0.0.1\" "
    "port_I4=\"50\"/>\n"
    "<send timestamp_I8=\"1a1fbf6c002\" ticket_I4=\"3\" socket_I8=\"3\" pid_I4=\"64\" "
    "data_AS=\"ping\" length_U4=\"4\"/>\n"
    "<receive pid_I4=\"64\" timestamp_I8=\"1a1fbf6c004\" ticket_I4=\"4\" socket_I8=\"3\" "
    "data_AS=\"pong!\" length_I4=\"5\"/>\n"
    "<close pid_I4=\"64\" timestamp_I8=\"1a1fbf6c005\" ticket_I4=\"5\" socket_I8=\"3\"/>\n";

}  // namespace veltra::testing
