#pragma once

#include <string>

#include "VSDKExport.h"

/// The bytes that structure an entry of stored content, for instance join a path and the node it lies on. Which of them
/// an entry may hold depends on the kind of agent.
namespace specialchars {
inline constexpr char kSeparatorA = '\x12';
inline constexpr char kSeparatorB = '\x13';
inline constexpr char kSeparatorC = '\x15';
inline constexpr char kEndMarker = '\x0E'; ///< what follows it is not shown
} // namespace specialchars

/// The base of every entity, list, job-list, user and session class. It holds no data and adds nothing to the size of
/// what derives from it; nobody owns or deletes an object through it.
class VSDKDB_API VSDKDB_Base {
  public:
    /// `text` as it is shown to a user: the separators that this kind of agent uses are replaced by readable marks, and
    /// where it uses the end marker, the text ends before the first one. All other bytes, and the texts of agents that
    /// use none, stay as they are. Any thread.
    static std::string ReplaceSpecialChars(std::string text, int appTypeId);

    /// `text` up to its first separator A if this kind of agent is one whose texts are cut there, else the whole text:
    /// not all whose separator A is replaced are cut. Any thread.
    static std::string TruncateToSpecialChars(std::string text, int appTypeId);
};
