#include "support/TempDirectory.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace support {

TempDirectory::TempDirectory() : path_((std::filesystem::temp_directory_path() / "vsdkdb-test-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr)
        throw std::runtime_error("no temporary directory " + path_);
}

TempDirectory::~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace support
