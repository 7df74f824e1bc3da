#pragma once

#include <string>

/// The file of the key of a hub database's stored passwords (hubdb::PasswordKey), which only its owner may read.
///
/// Making one takes two steps, so that what can fail does so before the database is made: the constructor writes a
/// draft beside the place of the file, and throws a tools::CommandError when it cannot; publish() gives the draft its
/// name. A file that is there already is kept.
class KeyFile {
  public:
    explicit KeyFile(const std::string& path);
    ~KeyFile(); ///< the draft is gone
    KeyFile(const KeyFile&) = delete;
    KeyFile& operator=(const KeyFile&) = delete;

    /// True when the file is this one, false when there is another. It appears with all that it holds, so that any
    /// number of processes may make it at once: they all use the key of one.
    bool publish();

  private:
    std::string path_;
    std::string draft_; ///< empty when none is needed
};
