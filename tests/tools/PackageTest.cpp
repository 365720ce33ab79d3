// The Debian package, and a tree that it was unpacked to.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Shell.h"

namespace veltra::testing {

namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

constexpr const char* conversation =
    " python3 -c '"
    "import socket\n"
    "listener = socket.create_server((\"127.0.0.1\", 0))\n"
    "client = socket.create_connection(listener.getsockname())\n"
    "client.send(b\"question\")\n"
    "client.close()\n"
    "'";

// Runs a script in which PACKAGE is the package and TREE a folder that it was unpacked to.
class Package : public ::testing::Test {
protected:
    static std::string unpacking(const std::string& script) {
        return "PACKAGE=$(echo \"$SUBJECT\"/*.deb); TREE=$PWD/tree; dpkg-deb -x \"$PACKAGE\" "
               "tree;" +
               script;
    }

    static std::string output(const std::string& script) {
        const Outcome outcome = run(unpacking(script), VELTRA_PACKAGES);
        EXPECT_EQ(outcome.exitStatus, 0) << script;
        EXPECT_EQ(outcome.errors, "") << script;
        return outcome.output;
    }
};

TEST_F(Package, HasExactlyTheseFiles) {
    EXPECT_EQ(output("cd tree && find . -type f | LC_ALL=C sort"),
              "./usr/bin/veltra-record\n"
              "./usr/bin/veltra-report\n"
              "./usr/lib/veltra/veltra.recorder.core/Libraries/libRecorderCore64.so\n"
              "./usr/lib/veltra/veltra.socket.agent/Libraries/linux/x86_64/"
              "libveltra_socket_agent.so\n"
              "./usr/share/bash-completion/completions/veltra-record\n"
              "./usr/share/bash-completion/completions/veltra-report\n"
              "./usr/share/doc/veltra-socket-agent/README.md\n"
              "./usr/share/doc/veltra-socket-agent/docs/performance.md\n"
              "./usr/share/doc/veltra-socket-agent/docs/performance.svg\n"
              "./usr/share/doc/veltra-socket-agent/docs/real-programs.md\n"
              "./usr/share/doc/veltra-socket-agent/docs/recording-format.md\n"
              "./usr/share/doc/veltra-socket-agent/docs/report-page.png\n"
              "./usr/share/doc/veltra-socket-agent/docs/reports.md\n"
              "./usr/share/doc/veltra-socket-agent/docs/settings.md\n"
              "./usr/share/doc/veltra-socket-agent/docs/what-is-recorded.md\n"
              "./usr/share/man/man1/veltra-record.1.gz\n"
              "./usr/share/man/man1/veltra-report.1.gz\n"
              "./usr/share/man/man7/veltra-socket-agent.7.gz\n"
              "./usr/share/zsh/vendor-completions/_veltra-record\n"
              "./usr/share/zsh/vendor-completions/_veltra-report\n");
}

TEST_F(Package, RunsNothingWhenItIsInstalledOrRemoved) {
    EXPECT_EQ(output("dpkg-deb --ctrl-tarfile \"$PACKAGE\" | tar t | LC_ALL=C sort"),
              "./control\n./md5sums\n");
}

TEST_F(Package, DependsOnTheLibrariesOfItsPrograms) {
    EXPECT_THAT(output("dpkg-deb -f \"$PACKAGE\" Package Version Architecture"),
                "Package: veltra-socket-agent\nVersion: " VELTRA_VERSION "\nArchitecture: amd64\n");
    const std::string dependencies = output("dpkg-deb -f \"$PACKAGE\" Depends");
    for (const char* library :
         {"libc6 (>= ", "libcap2 (>= ", "libelf1 (>= ", "libpcap0.8 (>= ", "libstdc++6 (>= "}) {
        EXPECT_THAT(dependencies, HasSubstr(library));
    }
}

TEST_F(Package, RecordsWithNanoseconds) {
    EXPECT_THAT(output(std::string("tree/usr/bin/veltra-record -o -") + conversation),
                MatchesRegex("<process timestamp_ns_I8=\"[0-9a-f]+\" timestamp_I4=\"0\" .*"
                             "\n<connect timestamp_ns_I8=.*"
                             "\n<send timestamp_ns_I8=.* data_AS=\"question\" length_U4=\"8\"/>"
                             "\n<close timestamp_ns_I8=[^\n]*\n"));
}

TEST_F(Package, ReportsOnWhatItRecorded) {
    EXPECT_THAT(output("tree/usr/bin/veltra-record -o recording" + std::string(conversation) +
                       "; tree/usr/bin/veltra-report summary recording"),
                MatchesRegex("process  socket  peer .*\ntotal +1 connection +1 +8 +0 +0 +0\n"));
}

TEST_F(Package, SaysWhatItFoundWhere) {
    const Outcome outcome = run(
        unpacking("echo \"$TREE\"; exec tree/usr/bin/veltra-record -v -o x true"), VELTRA_PACKAGES);
    const std::string tree = outcome.output.substr(0, outcome.output.find('\n'));
    EXPECT_THAT(
        outcome.errors,
        HasSubstr("\nveltra-record: agent " + tree +
                  "/usr/lib/veltra/veltra.socket.agent/Libraries/linux/x86_64/"
                  "libveltra_socket_agent.so\n"
                  "veltra-record: recorder core " +
                  tree + "/usr/lib/veltra/veltra.recorder.core/Libraries/libRecorderCore64.so\n"));
}

TEST_F(Package, HasTheRecorderCoreWhereTheAgentLooksByItself) {
    EXPECT_THAT(output("agent=$(find \"$TREE\" -name libveltra_socket_agent.so);"
                       "exec \"$RECORD\" -o - env -u VELTRA_SOCKET_AGENT_RECORDERCORE64_PATH"
                       " LD_PRELOAD=\"$agent\"" +
                       std::string(conversation)),
                MatchesRegex("<process timestamp_ns_I8=.*\n<connect timestamp_ns_I8=.*"));
}

TEST_F(Package, HasTheDocumentsThatTheReadmeLinksTo) {
    EXPECT_EQ(
        output("cd tree/usr/share/doc/veltra-socket-agent;"
               "for link in $(grep -oE '\\]\\(docs/[^)]*\\)' README.md | tr -d '()' | cut -c 2-);"
               "do [ -e $link ] || echo \"no $link\"; done"),
        "");
}

TEST_F(Package, HasManualsWithoutAFault) {
    EXPECT_EQ(output("for page in $(find tree -name '*.gz'); do"
                     " gzip -dc $page >page && mandoc -Tlint -Wwarning page || exit 1; done"),
              "");
}

// Help, manual and completions say the same.
TEST_F(Package, ExplainsEveryOptionEverywhere) {
    EXPECT_EQ(
        output("for program in $(ls tree/usr/bin); do\n"
               "options=$(tree/usr/bin/$program --help | grep -oE '(^| |,)--?[a-z][a-z0-9-]*' |"
               " tr -d ' ,' | grep -vx -e - | sort -u)\n"
               "[ $(echo \"$options\" | wc -l) -gt 4 ] || echo \"few options: $options\"\n"
               "gzip -dc tree/usr/share/man/man1/$program.1.gz | mandoc -Tascii | col -b >page\n"
               "for option in $options; do for file in page"
               " tree/usr/share/bash-completion/completions/$program"
               " tree/usr/share/zsh/vendor-completions/_$program; do\n"
               "grep -qE -e \"(^|[^a-z0-9-])$option([^a-z0-9-]|$)\" $file ||"
               " echo \"$file does not have $option\"\n"
               "done; done; done"),
        "");
}

TEST_F(Package, HasCompletionsThatTheShellsUnderstand) {
    EXPECT_EQ(output("cd tree/usr/share; for file in bash-completion/completions/*; do"
                     " bash -n \"$file\" || exit 1; done;"
                     "for file in zsh/vendor-completions/*; do zsh -n \"$file\" || exit 1; done"),
              "");
}

TEST_F(Package, HasWhatAnInstallationHas) {
    EXPECT_EQ(output("cmake --install " VELTRA_BUILD_FOLDER " --prefix \"$PWD/usr\" >/dev/null;"
                     "cd usr; find . -type f | LC_ALL=C sort >../installed; cd ../tree/usr;"
                     "find . -type f | sed s:/vendor-completions/:/site-functions/: |"
                     " LC_ALL=C sort | diff - ../../installed"),
              "");
}

}  // namespace

}  // namespace veltra::testing
