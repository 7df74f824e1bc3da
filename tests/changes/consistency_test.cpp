#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "appmgr/FSSubclientConf.h"

namespace {

TEST(Consistency, ComparesPathsByWhatTheyLeadTo) {
    const std::pair<const char*, std::vector<const char*>> cases[] = {
        {"", {"", "docs", "./docs", "c", "c:docs", "1:\\docs", "cc:\\docs", " /docs"}},
        {"/", {"/", "//", "/.", "/././/"}},
        {"/Docs/A b", {"/Docs/A b", "//Docs///A b/", "/./Docs/./A b/."}}, // case counts
        {"/docs/../.x/...", {"/docs/../.x/..."}},
        {"/a\\b\\", {"/a\\b\\", "/a\\b\\/"}}, // a character there
        {"/\xC3\x84/*.d?c", {"/\xC3\x84/*.d?c"}},
        {"\\", {"\\", "\\/", "\\.\\"}},
        {"\\host\\share", {"\\\\Host/Share\\", "\\host\\.\\SHARE"}},
        {"c:\\", {"c:", "C:/", "C:\\.\\"}},
        {"z:\\docs\\f.txt", {"Z:\\Docs/F.TXT", "z:/DOCS\\\\.\\f.txt/"}},
        {"c:\\\xC3\x84@[`{", {"C:\\\xC3\x84@[`{"}}}; // beyond A to Z case counts
    for (const auto& [compared, paths] : cases)
        for (const char* const path : paths)
            EXPECT_EQ(FSSubclientConf::normalised(path), compared) << path;
}

/// What is given in turn, names as "=name", until one is refused, and that with its reason.
TEST(Consistency, StopsAtTheFirstThatCannotStand) {
    const std::pair<std::vector<const char*>, std::string> cases[] = {
        {{"=docs", "/a", "/a/b", "/b", "=other", "/a/b/c", "/", "=third", "/c"}, ""},
        {{"=docs", "=other", "x", "", "/y", "/y", "=other", "/y"}, ""}, // the others' own affairs
        {{"=docs", "=Docs", "=docs ", "="}, ""},
        {{"=docs", "=other", "/", "=docs"}, "3 1 the name \"docs\" is used by another subclient too"},
        {{"=", "/a", "="}, "2 1 the name \"\" is used by another subclient too"},
        {{"=docs", "/a", ""}, "2 2 a path is empty"},
        {{"=docs", nullptr}, "1 2 a path is empty"},
        {{"=docs", "a/b"}, "1 3 the path \"a/b\" is not absolute"},
        {{"=default", "/", "c:\\", "\\", "d:"}, ""},
        {{"=docs", "/*"}, ""},
        {{"=docs", "//."}, "1 4 the root \"//.\" is for the subclient \"default\" only"},
        {{"=Default", "C:"}, "1 4 the root \"C:\" is for the subclient \"default\" only"},
        {{"=docs", "\\"}, "1 4 the root \"\\\" is for the subclient \"default\" only"},
        {{"=docs", "/a", "/A", "/a/."}, "3 5 the path \"/a/.\" is there twice"},
        {{"=docs", "c:\\a", "C:/A/"}, "2 5 the path \"C:/A/\" is there twice"},
        {{"=default", "/", "=docs", "//"}, "3 6 the path \"//\" belongs to the subclient \"docs\""},
        {{"=docs", "\\\\h\\S", "/h", "=b", "/H", "=c", "/x", "//H/s", "\\H\\s/"},
         "8 6 the path \"\\H\\s/\" belongs to the subclient \"c\""}};
    for (const auto& [given, refused] : cases) {
        FSSubclientConf conf(33);
        int fault = 0;
        std::size_t at = 0;
        for (; at < given.size(); ++at) {
            const bool name = given[at] != nullptr && *given[at] == '=';
            fault = name ? conf.setName(given[at] + 1) : conf.setPath(given[at]);
            if (fault != 0)
                break;
        }
        EXPECT_EQ(fault == 0 ? conf.reason() : std::to_string(at) + ' ' + std::to_string(fault) + ' ' + conf.reason(),
                  refused);
    }
}

TEST(Consistency, KeepsManyAndLongPaths) {
    FSSubclientConf conf(33);
    EXPECT_EQ(conf.setName("docs"), 0);
    const auto give = [&conf](int i, const char* behind) {
        return conf.setPath(("/" + std::string(i % 50 == 0 ? 70000U : 30U, 'x') + std::to_string(i) + behind).c_str());
    };
    for (const int fault : {FSSubclientConf::kNone, FSSubclientConf::kPathTwice})
        for (int i = 0; i < 3000; ++i)
            ASSERT_EQ(give(i, fault == 0 ? "" : "/"), fault) << i;
    EXPECT_EQ(conf.setName("other"), 0);
    EXPECT_EQ(give(3000, ""), 0);
    EXPECT_EQ(give(2999, ""), FSSubclientConf::kPathTaken);
}

} // namespace
