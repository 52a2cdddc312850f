// The kernel interface-index channel as an application meets it: through the
// port getters that fall back to the driver on "tmp/dm_dev", and the
// supported link-layer types.
#include <dirent.h>

#include <gtest/gtest.h>

#include <string>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

namespace {

bool contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

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

// A port without an interface index, so its getters ask the driver; its
// global chip ID is set, so nothing else is asked.
dp_lib_port_t port_without_ifx(int cport, int type, int lsm_key)
{
    dp_lib_port_t p = {};
    p.phyid = dm_phyid_make(1, 3, 0, cport);
    p.ss_phyid = dm_slot_lport_phyid(1, 3, cport);
    p.node = dm_node_make(1, 3);
    p.devid = 1;
    p.slotid = 3;
    p.portid = cport;
    p.g_chipid = 43;
    p.chip_portid = cport;
    p.type = type;
    p.lsm_key = lsm_key;
    dmtest::send(DP_LIB_MSG_PORT_INFO, p);
    return p;
}

// Batch chip-ID data: one chip ID for the card in `gslot`.
void alloc_chipid(int gslot, uint16_t chipid)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } m = {};
    m.head.len = static_cast<int32_t>(sizeof m);
    m.head.type = ADDR_LIB_BS_SYNC;
    m.head.data_num = 1;
    m.slot.status = CHIPID_VALID;
    m.slot.gslot = gslot;
    m.slot.idnum_per_unit = 1;
    m.slot.id_num = 1;
    m.slot.id[0] = chipid;
    dm_host_addr_data(&m, static_cast<int>(sizeof m));
}

TEST(KernelIfx, SupportedLinkLayerTypesAreTheEthernetOnes)
{
    for (const int t : {6, 7, 8, 9, 10, 11, 49, 50, 51}) {
        EXPECT_TRUE(dm_is_llcb_type_support(t)) << t;
    }
    // The management types have port-type rows but are not Ethernet.
    for (const int t : {28, 41, 0, 5, 12, 48, 52, -1}) {
        EXPECT_FALSE(dm_is_llcb_type_support(t)) << t;
    }
    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    std::string out = dmtest::capture_stdout([] { dm_is_llcb_type_support(28); });
    EXPECT_TRUE(contains(out, ">:llcb_type:28, ret:0\r\n")) << out;
    out = dmtest::capture_stdout([] { dm_is_llcb_type_support(9); });
    EXPECT_TRUE(contains(out, ">:llcb_type:9, ret:1\r\n")) << out;
}

TEST(KernelIfx, EachPortTypeIsAskedWithItsLinkLayerType)
{
    dmtest::ScratchDir dir;
    dir.make_dev_file();
    dm_host_kdev_attach(true);
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const int llcb_of_type[] = {6, 7, 8, 10, 11, 41, 28, -1, 9, 49, 50, 51};
    for (int type = PORT_FAST_ETHERNET; type < PORT_END; ++type) {
        const int lsm_key = 500 + type;
        const dp_lib_port_t p = port_without_ifx(type + 1, type, lsm_key);
        if (llcb_of_type[type] >= 0) {
            dm_host_kdev_set_ifx(lsm_key, llcb_of_type[type], 0x1000 + type);
        }
        int ifx = -1;
        if (type == PORT_FC) {
            // No link-layer type: the driver is never asked.
            const unsigned long before = dm_host_kdev_requests();
            const std::string out =
                dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_ifindex_from_phyid(p.ss_phyid, &ifx), -1); });
            EXPECT_TRUE(contains(out, ">:type:7 dm_lsm_cnvt_dmtype_to_llcbtype fail\n")) << out;
            EXPECT_EQ(dm_host_kdev_requests(), before);
            continue;
        }
        ASSERT_EQ(dm_get_ifindex_from_phyid(p.ss_phyid, &ifx), 0) << type;
        EXPECT_EQ(ifx, 0x1000 + type);
    }
    const dp_lib_port_t odd = port_without_ifx(20, PORT_END, 520);
    dm_port_t pinfo;
    const std::string out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_pinfo_by_phyid(odd.ss_phyid, &pinfo), 0); });
    EXPECT_TRUE(contains(out, ">:type:12 dm_lsm_cnvt_dmtype_to_llcbtype fail\n")) << out;
    EXPECT_EQ(pinfo.ifx, 0);
}

TEST(KernelIfx, BothQuestionsReadTheAnswerFromTheBufferHead)
{
    dmtest::ScratchDir dir;
    dir.make_dev_file();
    dm_host_kdev_attach(true);
    const dp_lib_port_t p = port_without_ifx(4, PORT_GIGABIT_ETHERNET, 0x4e);
    dm_host_kdev_set_ifx(0x4e, 7, 0x900);
    dm_host_kdev_set_lsm_key(0x901, 0x4e);
    alloc_chipid(3, 43);  // names the port found by its key

    dm_host_set_dbg_level(LIB_DBG_VERBOSE);
    int ifx = 0;
    std::string out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_ifindex_from_phyid(p.ss_phyid, &ifx), 0); });
    EXPECT_EQ(ifx, 0x900);
    EXPECT_TRUE(contains(out, ">:ifx: 900\r\n")) << out;
    int phyid = 0;
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_phyid_from_ifx(0x901, &phyid), 0); });
    EXPECT_EQ(phyid, dm_mod_port_phyid(43, 4));
    EXPECT_TRUE(contains(out, ">:phyid: 4e\r\n")) << out;
}

TEST(KernelIfx, MissingDeviceOrDriverFailsEveryQuestionAndClosesWhatItOpened)
{
    dmtest::ScratchDir dir;
    const dp_lib_port_t p = port_without_ifx(4, PORT_GIGABIT_ETHERNET, 0x4e);
    dm_host_set_dbg_level(LIB_DBG_WARN);
    const int fds = open_descriptors();

    int ifx = -1, phyid = -1;
    std::string out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_get_ifindex_from_phyid(p.ss_phyid, &ifx), -1);
        EXPECT_EQ(dm_get_phyid_from_ifx(0x901, &phyid), -1);
    });
    const std::string missing = ">:open fail(No such file or directory)\r\n";
    ASSERT_TRUE(contains(out, missing)) << out;
    EXPECT_NE(out.find(missing), out.rfind(missing)) << out;
    EXPECT_TRUE(contains(out, ">:fail to get data from kernel.\r\n")) << out;

    // A plain file with no driver behind it: the ioctl itself fails.
    dir.make_dev_file();
    dm_host_kdev_attach(false);
    dm_host_kdev_set_ifx(0x4e, 7, 0x900);
    dm_host_kdev_set_lsm_key(0x901, 0x4e);
    const unsigned long before = dm_host_kdev_requests();
    out = dmtest::capture_stdout([&] {
        EXPECT_EQ(dm_get_ifindex_from_phyid(p.ss_phyid, &ifx), -1);
        EXPECT_EQ(dm_get_phyid_from_ifx(0x901, &phyid), -1);
    });
    const std::string refused = ">:ioctl fail(Inappropriate ioctl for device)\r\n";
    ASSERT_TRUE(contains(out, refused)) << out;
    EXPECT_NE(out.find(refused), out.rfind(refused)) << out;
    EXPECT_EQ(dm_host_kdev_requests(), before);
    EXPECT_EQ(ifx, 0);
    EXPECT_EQ(phyid, -1);

    // Attached, a question the driver cannot answer fails the same way.
    dm_host_kdev_attach(true);
    out = dmtest::capture_stdout([&] { EXPECT_EQ(dm_get_phyid_from_ifx(0x999, &phyid), -1); });
    EXPECT_TRUE(contains(out, ">:ioctl fail(")) << out;
    EXPECT_EQ(open_descriptors(), fds);
}

}  // namespace
