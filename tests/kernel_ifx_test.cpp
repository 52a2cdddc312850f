// The kernel interface-index channel as an application meets it: the port
// getters that fall back to the driver on "tmp/dm_dev", and the supported
// link-layer types.
#include <dirent.h>

#include <gtest/gtest.h>

#include <string>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

namespace {

using dmtest::count;

int open_descriptors()
{
    DIR *d = opendir("/proc/self/fd");
    int n = 0;
    while (readdir(d) != nullptr) {
        ++n;
    }
    closedir(d);
    return n;
}

// A port of chip 0, slot 3, without an interface index, so its getters ask
// the driver. Chip ID 43 is in the record and in the allocation.
dp_lib_port_t port_without_ifx(int cport, int type, int lsm_key)
{
    dmtest::alloc_chipids(3, {43});
    dp_lib_port_t p = dmtest::port_record(1, 3, 0, cport, cport);
    p.g_chipid = 43;
    p.type = type;
    p.lsm_key = lsm_key;
    dmtest::send(DP_LIB_MSG_PORT_INFO, p);
    return p;
}

TEST(KernelIfx, SupportedLinkLayerTypesAreTheEthernetOnes)
{
    for (const int t : {6, 9, 10, 51}) {
        EXPECT_TRUE(dm_is_llcb_type_support(t)) << t;
    }
    for (const int t : {28, 41, 5, 12}) {  // 28, 41: management
        EXPECT_FALSE(dm_is_llcb_type_support(t)) << t;
    }
}

TEST(KernelIfx, EachPortTypeIsAskedWithItsLinkLayerType)
{
    dmtest::ScratchDir dir;
    dir.make_dev_file();
    dm_host_kdev_attach(true);
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const int llcb_of_type[] = {6, 7, 8, 10, 11, 41, 28, -1, 9, 49, 50, 51, -1};
    for (int type = PORT_FAST_ETHERNET; type <= PORT_END; ++type) {
        const dp_lib_port_t p = port_without_ifx(type + 1, type, 500 + type);
        const unsigned long asked = dm_host_kdev_requests();
        int ifx = -1;
        if (llcb_of_type[type] < 0) {
            // Fibre Channel and unknown types have no link-layer type: the
            // driver is never asked.
            const std::string out = dmtest::capture_stdout(
                [&] { EXPECT_EQ(dm_get_ifindex_from_phyid(p.ss_phyid, &ifx), -1); });
            EXPECT_EQ(count(out, ">:type:" + std::to_string(type) +
                                     " dm_lsm_cnvt_dmtype_to_llcbtype fail\n"),
                      1u)
                << out;
            EXPECT_EQ(dm_host_kdev_requests(), asked);
            continue;
        }
        dm_host_kdev_set_ifx(500 + type, llcb_of_type[type], 0x1000 + type);
        EXPECT_EQ(dm_get_ifindex_from_phyid(p.ss_phyid, &ifx), 0) << type;
        EXPECT_EQ(ifx, 0x1000 + type);
    }

    // The other question: the interface manager's key of an interface index.
    dm_host_kdev_set_lsm_key(0x901, 0x1f6);  // the 10G port, chip port 3
    int phyid = 0;
    EXPECT_EQ(dm_get_phyid_from_ifx(0x901, &phyid), 0);
    EXPECT_EQ(phyid, dm_mod_port_phyid(43, 3));
}

TEST(KernelIfx, MissingDeviceOrDriverFailsAndClosesWhatItOpened)
{
    dmtest::ScratchDir dir;
    const dp_lib_port_t p = port_without_ifx(4, PORT_GIGABIT_ETHERNET, 0x4e);
    dm_host_kdev_set_ifx(0x4e, 7, 0x900);
    dm_host_kdev_set_lsm_key(0x901, 0x4e);
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const int fds = open_descriptors();
    const unsigned long asked = dm_host_kdev_requests();
    int ifx = -1, phyid = -1;
    const auto ask_both = [&] {
        EXPECT_EQ(dm_get_ifindex_from_phyid(p.ss_phyid, &ifx), -1);
        EXPECT_EQ(dm_get_phyid_from_ifx(0x901, &phyid), -1);
    };
    std::string out = dmtest::capture_stdout(ask_both);
    EXPECT_EQ(count(out, ">:open fail(No such file or directory)\r\n"), 2u) << out;

    // A plain file with no driver behind it: the ioctl itself fails.
    dir.make_dev_file();
    dm_host_kdev_attach(false);
    out = dmtest::capture_stdout(ask_both);
    EXPECT_EQ(count(out, ">:ioctl fail(Inappropriate ioctl for device)\r\n"), 2u) << out;
    EXPECT_EQ(dm_host_kdev_requests(), asked);
    EXPECT_EQ(ifx, 0);
    EXPECT_EQ(phyid, -1);
    EXPECT_EQ(open_descriptors(), fds);
}

}  // namespace
