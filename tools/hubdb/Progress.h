#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// A bar on standard error that shows how far a long command is, on a terminal only. Gone with the object.
class Progress {
  public:
    explicit Progress(std::string title);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Shows `done` of `whole` (0: nobody knows) and how many rows that were. Cheap to call often.
    void show(std::uint64_t done, std::uint64_t whole, std::uint64_t rows);

  private:
    std::string title_;
    bool wanted_;
    std::chrono::steady_clock::time_point shown_;
};
