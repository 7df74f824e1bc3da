#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "PlatformExport.h"

/// Judges whether a subclient's name and paths can stand beside those of the other subclients of its backup set. What
/// is given first is the subclient in question, its name before its paths; each further name begins another one. What
/// the others have among themselves is not judged.
///
///     new --setName--> the subclient itself --setName--> another --setName--> another ...
///                      setPath: its path                 setPath: a path of another
///
/// The rule, which docs/content.md tells in full:
/// - No other subclient has its name, byte by byte.
/// - Its paths are absolute, none is there twice, and none belongs to another subclient. A path inside another's is
///   allowed. Paths are compared by what they lead to: see normalised().
/// - A root, `/`, `\` or a drive's, is a path of the subclient named "default" only.
///
/// A local of its user. It keeps the paths of the subclient in question and nothing of the others, so that a check
/// takes time linear in all texts and memory for one list.
class VSDKPLATFORM_API FSSubclientConf {
  public:
    enum Fault : int {
        kNone = 0,
        kNameTaken,
        kEmptyPath,
        kRelativePath,
        kRootPath,  ///< of a subclient that is not "default"
        kPathTwice, ///< among its own
        kPathTaken
    };

    /// What a path is, it tells itself, whatever the agent type.
    explicit FSSubclientConf(int appTypeId);
    ~FSSubclientConf();
    FSSubclientConf(const FSSubclientConf&) = delete;
    FSSubclientConf& operator=(const FSSubclientConf&) = delete;

    /// 0, or a Fault: the one who asks is to stop. Null is the empty text.
    int setName(const char* name);
    int setPath(const char* path);

    /// What the last fault was about, in words, with the texts as they were given; empty when there was none.
    const std::string& reason() const { return reason_; }

    /// The form in which paths are compared, empty for one that is not absolute. An absolute path begins with `/`, with
    /// `\`, or with a drive: a letter, `:`, and a separator or the end. In those that begin with `/` that is the
    /// separator and `\` a character; in the others both separate, and the letters A to Z are as a to z. Doubled and
    /// trailing separators and components `.` do not count. Wildcards and `..` are text.
    static std::string normalised(std::string_view path);

  private:
    class Paths;

    int refuse(Fault fault, const std::string& words);

    std::string name_;    ///< of the subclient in question
    std::string another_; ///< whose paths are being given
    enum { kNothing, kOwn, kOthers } given_ = kNothing;
    std::unique_ptr<Paths> own_;
    std::string compared_; ///< the last path in that form: one text for all of them
    std::string reason_;
};
