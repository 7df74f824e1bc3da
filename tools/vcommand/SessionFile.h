#pragma once

#include <optional>
#include <string>

#include "db/DatabaseUrl.h"

/// Where a login's token is kept between commands: a file for each hub database below the user's state directory
/// (XDG_STATE_HOME, else ~/.local/state), which only the user may read. What others could have read or put there is
/// not used.
class SessionFile {
  public:
    struct Login {
        std::string user;
        std::string token;
    };

    /// Of a database. Throws a tools::CommandError when there is no state directory to be told.
    explicit SessionFile(const hubdb::DatabaseUrl& url);

    const std::string& path() const { return path_; }

    /// Nothing without a file, or when it belongs to another database. Throws a tools::CommandError for a file that
    /// cannot be read, is damaged, or others have access to.
    std::optional<Login> read() const;
    /// Makes the directories and replaces the file, whole or not at all: of commands that do so at once each learns
    /// what it replaced, if that could be read. Throws a tools::CommandError.
    std::optional<Login> replace(const Login& login) const;
    /// Removes the file, unless it holds another login by now. Throws a tools::CommandError.
    void remove(const Login& login) const;

  private:
    void write(const Login& login) const;

    std::string database_; ///< printable
    std::string path_;
};
