#include <gtest/gtest.h>

#include "AppRun.h"

namespace veltra::testing {

namespace {

// A project, served by git's own back end below /git/ and as plain files besides.
std::string clonedFrom(const std::string& path) {
    return R"sh(
export HOME="$PWD" GIT_AUTHOR_DATE='1700000000 +0000' GIT_COMMITTER_DATE='1700000000 +0000'
export GIT_AUTHOR_NAME=A GIT_AUTHOR_EMAIL=a@b.invalid GIT_COMMITTER_NAME=A GIT_COMMITTER_EMAIL=a@b.invalid
port=$(free_port)
git init -q -b main origin
for commit in 1 2; do
    for file in $(seq 20); do seq "$file" "$((file * (commit + 3)))" > "origin/$file"; done
    git -C origin add .
    git -C origin commit -q -m "Commit $commit"
done
git clone -q --bare origin served/project.git
git -C served/project.git update-server-info
git -C served/project.git config http.receivepack true
serve python3 )sh" VELTRA_PROGRAMS
           R"sh(/gitServer.py "$port" served
wait_for "$port"
$AGENT git clone -q "http://127.0.0.1:$port)sh" +
           path + R"sh(" clone
git -C clone fsck --full --no-progress
diff -r -x .git origin clone
git -C clone log --format='%H %s'
)sh";
}

std::string first(const std::string& text, std::size_t length) {
    return text.substr(0, length);
}

std::string allSent(const std::vector<RecordedMessage>& recording) {
    std::string data;
    for (const RecordedMessage& message : recording) {
        if (message.kind == "send") data += message.values.at("data");
    }
    return data;
}

TEST(Git, ClonesFromTheBackEndAndTheRecordingHoldsTheRequests) {
    const AppRun run = runBothWays(clonedFrom("/git/project.git"));
    EXPECT_EQ(run.recorded.output.size(), 2 * 50U) << run.recorded.output;
    const std::string sent = allSent(run.recording);
    EXPECT_EQ(first(sent, 64), "GET /git/project.git/info/refs?service=git-upload-pack HTTP/1.1\r");
    EXPECT_NE(sent.find("POST /git/project.git/git-upload-pack HTTP/1.1\r\n"), std::string::npos);
}

TEST(Git, ClonesFromPlainFilesAndTheRecordingHoldsTheRequests) {
    const AppRun run = runBothWays(clonedFrom("/project.git"));
    EXPECT_EQ(run.recorded.output.size(), 2 * 50U) << run.recorded.output;
    const std::string sent = allSent(run.recording);
    EXPECT_EQ(first(sent, 60), "GET /project.git/info/refs?service=git-upload-pack HTTP/1.1\r");
    EXPECT_NE(sent.find("GET /project.git/HEAD HTTP/1.1\r\n"), std::string::npos);
}

}  // namespace

}  // namespace veltra::testing
