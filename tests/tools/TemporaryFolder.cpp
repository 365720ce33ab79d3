#include "TemporaryFolder.h"

#include <stdlib.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

namespace veltra::testing {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
    std::string name = (fs::temp_directory_path() / "veltra-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot create a temporary folder");
    }
    path_ = fs::canonical(name);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

fs::path TemporaryFolder::makeFile(const fs::path& relativePath, std::string_view content,
                                   fs::perms permissions) const {
    fs::path file = path_ / relativePath;
    fs::create_directories(file.parent_path());
    std::ofstream(file) << content;
    fs::permissions(file, permissions);
    return file;
}

std::string contentOf(const fs::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return std::move(content).str();
}

}  // namespace veltra::testing
