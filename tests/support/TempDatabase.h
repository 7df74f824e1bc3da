#pragma once

#include <initializer_list>
#include <string>

#include "Db/Tbl/OVDBColumn.h"

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

/// An SQLite file that passes for a hub database of this version and holds only the tables that a test asks for. They
/// have the declared columns and keys but no other rule, so that a test can put into them what a damaged database
/// holds. Whatever fails throws std::runtime_error with the engine's words.
class TempDatabase {
  public:
    explicit TempDatabase(std::initializer_list<const OVDBRowDeclaration*> tables);

    const std::string& path() const { return path_; }
    std::string url() const { return "sqlite:" + path_; }
    const TempDirectory& directory() const { return directory_; }

    /// Runs SQL statements over a connection of their own.
    void run(const std::string& sql) const;

  private:
    TempDirectory directory_;
    std::string path_ = directory_.file("hub.db");
};

} // namespace support
