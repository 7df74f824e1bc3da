#pragma once

#include <string>

namespace support {

/// A directory of its own below the system's one for temporary files, removed with all that is in it.
class TempDirectory {
  public:
    TempDirectory();
    ~TempDirectory();
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

} // namespace support
