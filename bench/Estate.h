#pragma once

#include <functional>
#include <string>
#include <vector>

// URLs are the library's: sqlite:FILE, or a server's, which libpq reads as well.

bool isServer(const std::string& url);
/// The file of a database that is not a server's.
std::string fileOf(const std::string& url);
/// The URL with one more option, "name=value".
std::string withOption(const std::string& url, const std::string& option);

/// Runs a program to its end. Throws std::runtime_error unless it succeeds.
void runProgram(std::vector<std::string> command);

/// Makes the database that a URL names a hub database with `clients` generated clients. Throws std::runtime_error.
void generateEstate(const std::string& url, int clients);

/// The URL of a hub database in a file with `clients` generated clients, which `addMore`, if any, adds to. It is made
/// on the first call and kept for later runs; each size and `kind` has a file of its own. Throws std::runtime_error
/// when it cannot be made.
std::string generatedFile(int clients, const std::string& kind = "estate",
                          const std::function<void(const std::string& url)>& addMore = nullptr);
