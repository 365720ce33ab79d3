#include <gtest/gtest.h>

#include "RecordingText.h"
#include "ReportRun.h"

namespace veltra::testing {

namespace {

// Two processes, three connections and some events of none.
std::string knownRecording() {
    return "<process timestamp_I4=\"0\" workingdir_AS=\"/tmp\" pid_I4=\"64\"/>\n"
           "<addrinfo timestamp_I8=\"1a1fbf6c000\" family_AS=\"AF_INET\" name_AS=\"web.example\" "
           "ip_AS=\"127.0.0.1\"/>\n"
           "<connect pid_I4=\"64\" timestamp_I8=\"1a1fbf6c000\" socket_I8=\"3\" "
           "family_AS=\"AF_INET\" ip_AS=\"127.0.0.1\" port_I4=\"50\"/>\n"
           "<send timestamp_I8=\"1a1fbf6c064\" socket_I8=\"3\" pid_I4=\"64\" "
           "data_AS=\"ping\" length_U4=\"4\"/>\n"
           "<receive pid_I4=\"64\" timestamp_I8=\"1a1fbf6c0c8\" socket_I8=\"3\" data_AS=\"" +
           escapedText(everyByte()) +
           "\" length_I4=\"100\"/>\n"
           "<process timestamp_I4=\"0\" workingdir_AS=\"/tmp\" pid_I4=\"65\"/>\n"
           "<connect pid_I4=\"65\" timestamp_I8=\"1a1fbf6c0d2\" socket_I8=\"3\" "
           "family_AS=\"AF_CCITT\" ip_AS=\"0:0:0:0:0:0:0:1\" port_I4=\"51\" error_I4=\"6f\"/>\n"
           "<accept pid_I4=\"65\" timestamp_I8=\"1a1fbf6c0e6\" from_I8=\"4\" socket_I8=\"5\" "
           "family_AS=\"AF_INET\" ip_AS=\"127.0.0.1\" port_I4=\"c000\"/>\n"
           "<receive pid_I4=\"64\" timestamp_I8=\"1a1fbf6c12c\" socket_I8=\"3\" length_I4=\"0\"/>\n"
           "<close pid_I4=\"64\" timestamp_I8=\"1a1fbf6c190\" socket_I8=\"3\"/>\n";
}

// What the probe prints after it has taken the steps on the recording's page.
std::string seen(const std::string& recording, const std::string& steps) {
    const ReportRun run(recording,
                        "\"$SUBJECT\" html recording -o page.html 2>/dev/null; \"$PROBE\" "
                        "page.html " +
                            steps);
    EXPECT_EQ(run.outcome().exitStatus, 0);
    EXPECT_EQ(run.outcome().errors, "");
    return run.outcome().output;
}

TEST(Page, HasALaneForEachConnectionAndAMarkForEachEvent) {
    EXPECT_EQ(seen(knownRecording(),
                   "text '#title' text '#totals' text '#lanes .peer' text '#lanes .what' "
                   "value '[...document.querySelectorAll(\"#lanes .lane\")].map(lane => "
                   "[...lane.querySelectorAll(\".mark\")].map(mark => mark.title).join(\", "
                   "\")).join(\"\\n\")' problems"),
              "recording\n"
              "3 connections · 10 events · 4 B sent · 256 B received · 400 ms\n"
              "Other events\n127.0.0.1:80\n[::1]:81\nfrom 127.0.0.1:49152\n"
              "3 events\n"
              "pid 100 · socket 3 · ↑4 B ↓256 B\n"
              "pid 101 · socket 3 · ↑0 B ↓0 B\n"
              "pid 101 · socket 5 · ↑0 B ↓0 B\n"
              "process · 0 s, addrinfo · 0 s, process · 200 ms\n"
              "connect · 0 s, sent 4 B · 100 ms, received 256 B · 200 ms, end of stream · 300 ms, "
              "closed · 400 ms\n"
              "connect failed · 210 ms\n"
              "accepted · 230 ms\n");
}

TEST(Page, PlacesMarksByTimeOrByOrder) {
    const std::string places =
        "value '[...document.querySelectorAll(\"[data-lane=\\\"1\\\"] .mark\")].map(mark => "
        "mark.style.left).join()' text '.tick' ";
    EXPECT_EQ(seen(knownRecording(), places + "choose spacing 'by order' " + places),
              "0%,25%,50%,75%,100%\n"
              "0 s\n50 ms\n100 ms\n150 ms\n200 ms\n250 ms\n300 ms\n350 ms\n400 ms\n"
              "22.2222%,33.3333%,44.4444%,88.8889%,100%\n"
              "event 1\nevent 3\nevent 5\nevent 7\nevent 9\n");
}

TEST(Page, ShowsThePayloadOfAMarkThatIsClicked) {
    EXPECT_EQ(seen(knownRecording(),
                   "count '#detail' click '.mark.send[data-order]' text '#detail-title' "
                   "text '#detail-note' text '#facts' text '#payload' click '#view-hex' "
                   "text '#payload' click '#dismiss' count '#detail'"),
              "0\n"
              "sent 4 B · 127.0.0.1:80\n"
              "100 ms after the start · line 4\n"
              "timestamp\n1795228614756\nsocket\n3\npid\n100\nlength\n4\n"
              "ping\n"
              "00000000  70 69 6e 67                                        ping\n"
              "0\n");
}

TEST(Page, ShowsEveryByte) {
    std::string expected;
    for (int row = 0; row < 16; ++row) {
        char line[100];
        int length = snprintf(line, sizeof(line), "%08x ", row * 16);
        for (int column = 0; column < 16; ++column) {
            length += snprintf(line + length, sizeof(line) - static_cast<std::size_t>(length),
                               column == 8 ? "  %02x" : " %02x", row * 16 + column);
        }
        expected += line + std::string("   ");
        for (int column = 0; column < 16; ++column) {
            const int byte = row * 16 + column;
            expected += byte >= 32 && byte < 127 ? static_cast<char>(byte) : '.';
        }
        expected += '\n';
    }
    EXPECT_EQ(seen(knownRecording(),
                   "click '.mark.receive[data-order]' click '#view-hex' "
                   "text '#payload'"),
              expected);
}

TEST(Page, ShowsWholeConversations) {
    const std::string recording =
        "<connect socket_I8=\"3\" ip_AS=\"10.0.0.1\" port_I4=\"50\"/>\n"
        "<send socket_I8=\"3\" data_AS=\"one&#x0a;\" length_U4=\"4\"/>\n"
        "<receive socket_I8=\"3\" data_AS=\"two&#x0a;\" length_I4=\"4\"/>\n"
        "<send socket_I8=\"3\" data_AS=\"three\" length_U4=\"5\"/>\n";
    EXPECT_EQ(seen(recording,
                   "click '#lanes .label' text '#payload' text '#payload .send' "
                   "text '#payload .receive'"),
              "one\ntwo\nthree\none\nthree\ntwo\n");
}

TEST(Page, ShowsWhatIsChosenOnly) {
    EXPECT_EQ(seen(knownRecording(),
                   "text '#process' text '#peer' choose process 100 text '#lanes .peer' "
                   "count '#lanes .mark' choose process all choose peer '[::1]:81' "
                   "text '#lanes .peer' choose process 100 text '#lanes .peer' text '#empty'"),
              "all\n100\n101\n"
              "all\n127.0.0.1:80\n[::1]:81\n127.0.0.1:49152\n"
              "Other events\n127.0.0.1:80\n6\n"
              "[::1]:81\n"
              "Nothing to show.\n");
}

TEST(Page, IsWalkedThroughWithKeys) {
    EXPECT_EQ(seen(knownRecording(),
                   "click '.mark.send[data-order]' press ARROW_RIGHT text '#detail-title' "
                   "press ARROW_LEFT press ARROW_LEFT text '#detail-title' press ESCAPE "
                   "count '#detail'"),
              "received 256 B · 127.0.0.1:80\nconnect · 127.0.0.1:80\n0\n");
}

TEST(Page, IsZoomed) {
    const std::string width =
        "value 'Math.round(document.getElementById(\"axis\").clientWidth / "
        "(innerWidth - 288 - 50))' ";
    EXPECT_EQ(seen(knownRecording(), width + "click '#zoom-in' click '#zoom-in' " + width +
                                         "press - " + width + "click '#zoom-fit' " + width),
              "1\n4\n2\n1\n");
}

TEST(Page, IsLightOrDark) {
    const std::string colour = "value 'getComputedStyle(document.body).backgroundColor' ";
    EXPECT_EQ(
        seen(knownRecording(), colour + "click '#theme' " + colour + "click '#theme' " + colour),
        "rgb(246, 247, 249)\nrgb(18, 22, 28)\nrgb(246, 247, 249)\n");
}

// Whatever is recorded stays text: it neither runs, nor ends the script it stands in, nor loads
// anything.
TEST(Page, TakesNothingOfARecordingForMarkUp) {
    const std::string attack =
        "</script><script>document.title='broken'</script>"
        "<img src=http://127.0.0.1:9/ onerror=\"document.title='broken'\">"
        "<!--<script>&lt;`${1}`";
    const std::string value = escapedText(attack);
    const std::string recording = "<process workingdir_AS=\"" + value +
                                  "\" pid_I4=\"64\"/>\n<connect socket_I8=\"3\" ip_AS=\"" + value +
                                  "\" port_I4=\"50\" family_AS=\"" + value +
                                  "\"/>\n<send socket_I8=\"3\" data_AS=\"" + value +
                                  "\" length_U4=\"1\"/>\n";
    EXPECT_EQ(
        seen(recording,
             "value document.title count 'img' value 'document.scripts.length' click "
             "'.mark.send[data-order]' text '#payload' value document.title count img problems"),
        "Recording: recording\n0\n2\n" + attack + "\nRecording: recording\n0\n");
}

TEST(Page, SaysHowMuchOfALargePayloadItHas) {
    const std::string recording = "<send timestamp_I8=\"1\" socket_I8=\"3\" data_AS=\"" +
                                  std::string(70000, 'x') + "\" length_U4=\"11170\"/>\n";
    EXPECT_EQ(seen(recording,
                   "click '.mark.send[data-order]' text '#detail-title' "
                   "text '#detail-note' value "
                   "'document.getElementById(\"payload\").textContent.length'"),
              "sent 70 kB · unknown\n0 s after the start · line 1 · the first 66 kB are shown\n"
              "65536\n");
}

TEST(Page, TellsOfDamage) {
    EXPECT_EQ(seen("<sent/>\n<exit/>\n<sent/>\n", "text '#totals'"),
              "0 connections · 1 event · 0 B sent · 0 B received · 0 s · 2 damaged lines\n");
}

TEST(Page, OfNothingIsEmpty) {
    EXPECT_EQ(seen("", "text '#totals' text '#empty' count '.lane' problems"),
              "0 connections · 0 events · 0 B sent · 0 B received · 0 s\nNothing to show.\n1\n");
}

TEST(Page, HasRoomForThousandsOfEvents) {
    std::string recording;
    for (int i = 1; i <= 500; ++i) {
        const std::string socket = "socket_I8=\"" + std::to_string(i % 10) + "\"";
        recording += "<connect " + socket + " ip_AS=\"10.0.0.1\" port_I4=\"50\"/>\n";
        for (int k = 0; k < 20; ++k)
            recording += "<send " + socket + " data_AS=\"hello\" length_U4=\"5\"/>\n";
    }
    EXPECT_EQ(seen(recording,
                   "value 'document.querySelectorAll(\"#lanes .lane\").length' value "
                   "'document.querySelectorAll(\"#lanes .mark\").length' problems"),
              "500\n10500\n");
}

}  // namespace

}  // namespace veltra::testing
