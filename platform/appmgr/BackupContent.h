#pragma once

#include <string>
#include <utility>
#include <vector>

/// The content of a subclient: its texts in the order of their rows.
class BackupContent {
  public:
    void addToContent(std::string text) { texts_.push_back(std::move(text)); }
    /// Gives them away.
    std::vector<std::string> takeTexts() { return std::move(texts_); }
    std::vector<std::string>::const_iterator begin() const { return texts_.begin(); }
    std::vector<std::string>::const_iterator end() const { return texts_.end(); }

  private:
    std::vector<std::string> texts_;
};
