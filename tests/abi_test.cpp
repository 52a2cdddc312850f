// The shared object as a host sees it: what it exports is exactly the
// documented API, and what it needs from outside is the C/C++ runtime and the
// host's named platform interface, nothing else.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace {

std::set<std::string> nm_symbols(const std::string &flags)
{
    std::set<std::string> out;
    const std::string cmd = "nm -D " + flags + " " + DM_LIB_PATH;
    FILE *p = popen(cmd.c_str(), "r");
    EXPECT_NE(p, nullptr);
    if (p == nullptr) {
        return out;
    }
    char line[512];
    while (fgets(line, sizeof line, p) != nullptr) {
        std::istringstream in(line);
        std::string a, b, c;
        in >> a >> b >> c;
        out.insert(c.empty() ? b : c);  // undefined lines have no address
    }
    pclose(p);
    return out;
}

std::set<std::string> read_symbol_list()
{
    std::set<std::string> out;
    std::ifstream in(std::string(DM_SOURCE_DIR) + "/abi/dm_lib_pd.symbols");
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line[0] != '#') {
            out.insert(line);
        }
    }
    return out;
}

std::set<std::string> header_api()
{
    std::set<std::string> out;
    const std::regex decl(R"(^DM_API\s+[\w\s\*]*?\b(\w+)\s*\()");
    for (const char *h : {"dm_event", "dm_port_lookup", "dm_split_port", "dm_phy_mgmt",
                          "dm_pre_inst", "dm_port_num", "dm_card_table", "dm_chip_cfg",
                          "dm_local_port", "dm_lphyid", "dm_chipid_query", "dm_fc_lists"}) {
        std::ifstream in(std::string(DM_SOURCE_DIR) + "/api/dm_lib_pd/" + h + ".h");
        EXPECT_TRUE(in.good()) << h;
        std::string line;
        std::smatch m;
        while (std::getline(in, line)) {
            if (std::regex_search(line, m, decl)) {
                out.insert(m[1]);
            }
        }
    }
    return out;
}

TEST(Abi, ExportsExactlyTheDocumentedApi)
{
    const std::set<std::string> listed = read_symbol_list();
    EXPECT_EQ(listed, header_api()) << "abi/dm_lib_pd.symbols and the public headers differ";

    std::set<std::string> exported;
    for (std::string s : nm_symbols("--defined-only")) {
        const auto at = s.find('@');
        if (at != std::string::npos) {
            s.resize(at);
        }
        if (s != "DM_LIB_PD_1") {
            exported.insert(s);
        }
    }
    for (const auto &s : listed) {
        EXPECT_TRUE(exported.count(s)) << "not exported: " << s;
    }
    for (const auto &s : exported) {
        EXPECT_TRUE(listed.count(s)) << "exported but not in the API: " << s;
    }
}

TEST(Abi, NeedsOnlyTheRuntimeAndTheHostInterface)
{
#ifdef DM_SANITIZED
    // A sanitizer runtime replaces the C library's allocation and string
    // functions with unversioned ones; the check holds for ordinary builds.
    GTEST_SKIP() << "dependencies are checked in builds without sanitizers";
#endif
    const std::set<std::string> host = {"lib_pd_reg_init_handler",
                                        "lib_pd_reg_dbg_init_handler",
                                        "dm_dp_lib_reg_dispatch_msg_handler",
                                        "addr_lib_reg_pd_frame",
                                        "dm_os_event_init",
                                        "dev_event_thread_prototype",
                                        "dm_dev_event_notify",
                                        "dm_get_my_node",
                                        "dm_get_my_devid",
                                        "dm_get_my_lslotid",
                                        "dm_get_my_card_type",
                                        "dm_get_my_node_type",
                                        "dm_get_node_type",
                                        "dm_get_dev_phy_type",
                                        "dm_get_dev_phy_type_by_node",
                                        "dm_get_dev_cfg_type_by_node",
                                        "dm_get_local_card_type_by_lslotid",
                                        "dp_lib_insert_data",
                                        "dm_lib_data_bs_over",
                                        "dp_lib_role_batch_local",
                                        "hotplug_lib_batch_local",
                                        "dtm_lib_batch_over_handle",
                                        "hotplug_lib_batch_install",
                                        "addr_lib_notity_dcm_ready",
                                        "dm_card_sub_pre_insert_noti_batch",
                                        "dp_lib_role_batch_global",
                                        "hotplug_lib_batch_global",
                                        "hotplug_lib_batch_dp_complete",
                                        "dm_check_ldp_probe_noti_batch",
                                        "g_lib_dbg_level",
                                        "lib_name",
                                        "logfile_info",
                                        "dm_logfile_write_log"};
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
    const std::string cmd = std::string("readelf -d ") + DM_LIB_PATH;
    FILE *p = popen(cmd.c_str(), "r");
    ASSERT_NE(p, nullptr);
    std::string all;
    char line[512];
    while (fgets(line, sizeof line, p) != nullptr) {
        all += line;
    }
    pclose(p);
    EXPECT_EQ(all.find("dm_host"), std::string::npos);
    EXPECT_NE(all.find("SONAME"), std::string::npos);
    EXPECT_NE(all.find("libdm_lib_pd.so.1"), std::string::npos);
}

}  // namespace
