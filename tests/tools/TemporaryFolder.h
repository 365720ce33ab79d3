#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace veltra::testing {

// An empty folder that goes, with all that was put there, when the object does.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

    // Creates a file, and the folders that lead to it. Returns its full path.
    std::filesystem::path makeFile(
        const std::filesystem::path& relativePath, std::string_view content = "",
        std::filesystem::perms permissions = std::filesystem::perms::owner_read) const;

private:
    std::filesystem::path path_;
};

// The content of a file; empty when there is none.
std::string contentOf(const std::filesystem::path& file);

}  // namespace veltra::testing
