// The shared object as a host sees it: what it exports is exactly the
// documented API, and what it needs from outside is the C/C++ runtime and the
// host's named platform interface, nothing else.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The lines a command prints.
std::vector<std::string> run(const std::string &cmd)
{
    std::vector<std::string> out;
    FILE *p = popen(cmd.c_str(), "r");
    EXPECT_NE(p, nullptr) << cmd;
    char line[512];
    while (p != nullptr && fgets(line, sizeof line, p) != nullptr) {
        out.emplace_back(line);
    }
    if (p != nullptr) {
        pclose(p);
    }
    return out;
}

std::set<std::string> nm_symbols(const std::string &flags)
{
    std::set<std::string> out;
    for (const std::string &line : run("nm -D " + flags + " " + DM_LIB_PATH)) {
        std::istringstream in(line);
        std::string a, b, c;
        in >> a >> b >> c;
        out.insert(c.empty() ? b : c);  // undefined lines have no address
    }
    return out;
}

// The names `decl` captures, line by line, in the given files.
std::set<std::string> declared(const std::vector<std::string> &paths, const char *decl)
{
    std::set<std::string> out;
    const std::regex re(decl);
    std::smatch m;
    for (const std::string &path : paths) {
        std::ifstream in(path);
        EXPECT_TRUE(in.good()) << path;
        for (std::string line; std::getline(in, line);) {
            if (std::regex_search(line, m, re)) {
                out.insert(m[1]);
            }
        }
    }
    return out;
}

// The symbol list the link exports is checked against the headers once,
// here, on the built object.
TEST(Abi, ExportsExactlyTheDocumentedApi)
{
    std::set<std::string> exported;
    for (std::string s : nm_symbols("--defined-only")) {
        s.resize(std::min(s.size(), s.find('@')));
        if (s != "DM_LIB_PD_1") {
            exported.insert(s);
        }
    }
    std::vector<std::string> headers;
    for (const auto &e : std::filesystem::directory_iterator(DM_SOURCE_DIR "/api/dm_lib_pd")) {
        headers.push_back(e.path());
    }
    EXPECT_EQ(exported, declared(headers, R"(^DM_API\s+[\w\s\*]*?\b(\w+)\s*\()"));
}

TEST(Abi, NeedsOnlyTheRuntimeAndTheHostInterface)
{
#ifdef DM_SANITIZED
    // A sanitizer runtime replaces the C library's allocation and string
    // functions with unversioned ones; the check holds for ordinary builds.
    GTEST_SKIP() << "dependencies are checked in builds without sanitizers";
#endif
    // The host interface: what include/dm_host.h declares.
    const std::set<std::string> host =
        declared({DM_SOURCE_DIR "/include/dm_host.h"},
                 R"(^(?:extern\s+)?\w[\w\s\*]*?\b(\w+)\s*(?:\(|\[\]|;))");
    // The C and C++ runtimes version their symbols; the toolchain's own hooks
    // are not versioned.
    const std::regex runtime(R"(.*@(GLIBC|GLIBCXX|CXXABI|GCC)_.*|_ITM_.*|__gmon_start__)");
    for (const auto &s : nm_symbols("--undefined-only")) {
        EXPECT_TRUE(host.count(s) || std::regex_match(s, runtime))
            << "unexpected dependency: " << s;
    }
}

TEST(Abi, DoesNotLinkAHost)
{
    std::string all;
    for (const std::string &line : run(std::string("readelf -d ") + DM_LIB_PATH)) {
        all += line;
    }
    EXPECT_EQ(all.find("dm_host"), std::string::npos);
    EXPECT_NE(all.find("SONAME"), std::string::npos);
    EXPECT_NE(all.find("libdm_lib_pd.so.1"), std::string::npos);
}

}  // namespace
