#include "appmgr/FSSubclientConf.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace {

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

char folded(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// A normalised path that is a root: "/", "\" or "c:\".
bool isRoot(std::string_view path) {
    constexpr std::size_t kDriveRoot = 3;
    return path.size() == 1 || (path.size() == kDriveRoot && path[1] == ':' && path[0] != '/' && path[0] != '\\');
}

/// FSSubclientConf::normalised(), into a text that has room already.
void normalise(std::string_view path, std::string& result) {
    result.clear();
    constexpr std::string_view kBoth = "/\\";
    const bool drive = path.size() >= 2 && folded(path[0]) >= 'a' && folded(path[0]) <= 'z' && path[1] == ':' &&
                       (path.size() == 2 || kBoth.find(path[2]) != std::string_view::npos);
    if (!drive && (path.empty() || kBoth.find(path[0]) == std::string_view::npos))
        return;
    const bool folds = drive || path[0] == '\\';
    const std::string_view separators = folds ? kBoth : kBoth.substr(0, 1);
    const char separator = folds ? '\\' : '/';
    if (drive) {
        result = {folded(path[0]), ':'};
        path.remove_prefix(2);
    }
    while (!path.empty()) {
        const std::string_view component = path.substr(0, path.find_first_of(separators));
        path.remove_prefix(std::min(component.size() + 1, path.size()));
        if (component.empty() || component == ".")
            continue;
        result += separator;
        const std::size_t at = result.size();
        result += component;
        if (folds)
            std::transform(result.begin() + static_cast<std::ptrdiff_t>(at), result.end(),
                           result.begin() + static_cast<std::ptrdiff_t>(at), &folded);
    }
    if (result.empty() || (drive && result.size() == 2))
        result += separator;
}

} // namespace

/// A set of texts, tight: their bytes one behind the other in blocks, and a table of pointers to them.
class FSSubclientConf::Paths {
  public:
    /// False when it was there.
    bool add(std::string_view path) {
        if (count_ * 4 >= table_.size() * 3)
            grow();
        const char*& place = table_[find(path)];
        if (place != nullptr)
            return false;
        place = keep(path);
        ++count_;
        return true;
    }
    bool contains(std::string_view path) const { return !table_.empty() && table_[find(path)] != nullptr; }

  private:
    std::size_t find(std::string_view path) const {
        const std::size_t mask = table_.size() - 1;
        std::size_t at = std::hash<std::string_view>()(path) & mask;
        while (table_[at] != nullptr && path != table_[at])
            at = (at + 1) & mask;
        return at;
    }
    void grow() {
        constexpr std::size_t kFirst = 16;
        std::vector<const char*> before(std::max(kFirst, table_.size() * 2));
        before.swap(table_);
        for (const char* const path : before)
            if (path != nullptr)
                table_[find(path)] = path;
    }
    const char* keep(std::string_view path) {
        constexpr std::size_t kBlock = 64UL * 1024;
        if (left_ <= path.size()) {
            left_ = std::max(kBlock, path.size() + 1);
            blocks_.push_back(std::make_unique<char[]>(left_));
            next_ = blocks_.back().get();
        }
        char* const kept = next_;
        std::memcpy(kept, path.data(), path.size()); // the block is zeroed: a NUL ends it
        next_ += path.size() + 1;
        left_ -= path.size() + 1;
        return kept;
    }

    std::vector<const char*> table_; ///< its size is a power of two
    std::size_t count_ = 0;
    std::vector<std::unique_ptr<char[]>> blocks_;
    char* next_ = nullptr;
    std::size_t left_ = 0; ///< behind `next_` in its block
};

FSSubclientConf::FSSubclientConf(int /*appTypeId*/) : own_(std::make_unique<Paths>()) {}

FSSubclientConf::~FSSubclientConf() = default;

int FSSubclientConf::setName(const char* name) {
    const std::string given = name == nullptr ? "" : name;
    if (given_ == kNothing) {
        given_ = kOwn;
        name_ = given;
        return kNone;
    }
    given_ = kOthers;
    another_ = given;
    return given == name_ ? refuse(kNameTaken, "the name " + quoted(given) + " is used by another subclient too")
                          : kNone;
}

int FSSubclientConf::setPath(const char* path) {
    const std::string_view given = path == nullptr ? "" : path;
    normalise(given, compared_);
    if (given_ == kOthers)
        return own_->contains(compared_)
                   ? refuse(kPathTaken, "the path " + quoted(given) + " belongs to the subclient " + quoted(another_))
                   : kNone;
    if (given.empty())
        return refuse(kEmptyPath, "a path is empty");
    if (compared_.empty())
        return refuse(kRelativePath, "the path " + quoted(given) + " is not absolute");
    if (isRoot(compared_) && name_ != "default")
        return refuse(kRootPath, "the root " + quoted(given) + " is for the subclient \"default\" only");
    return own_->add(compared_) ? kNone : refuse(kPathTwice, "the path " + quoted(given) + " is there twice");
}

int FSSubclientConf::refuse(Fault fault, const std::string& words) {
    reason_ = words;
    return fault;
}

std::string FSSubclientConf::normalised(std::string_view path) {
    std::string result;
    normalise(path, result);
    return result;
}
