#pragma once

#include <string>
#include <vector>

/// Runs a program to its end. Throws std::runtime_error unless it succeeds.
void runProgram(std::vector<std::string> command);

/// Makes the database that a URL names a hub database with `clients` generated clients. Throws std::runtime_error.
void generateEstate(const std::string& url, int clients);

/// The file of a generated hub database with `clients` clients. It is made on the first call and kept for later runs;
/// each size has a file of its own. Throws std::runtime_error when it cannot be made.
std::string generatedFile(int clients);
