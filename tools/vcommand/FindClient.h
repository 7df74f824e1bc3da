#pragma once

#include <string>

struct ClientName {
    int id;
    std::string name;
};

/// The client that a command line means by `text`: a whole number is an id, any other text a name, compared byte by
/// byte. Throws a tools::CommandError when there is none, or when several have the name.
ClientName findClient(const std::string& text);
