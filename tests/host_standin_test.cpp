// The host stand-in's own behaviour that the library's tests build on: the
// event loop, the insertion service, the identity tables, the kernel-device
// stand-in, the log file and the batch-end steps.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

#include <dm_lib_pd/dm_ids.h>
#include "dm_test_env.h"
#include "dm_tree.h"

namespace {

using namespace std::chrono_literals;

std::mutex seen_mu;
std::vector<dmtest::Event> seen;

int record_event(dev_msg_t *msg)
{
    const auto *data = static_cast<uint8_t *>(dev_msg_data(msg));
    std::lock_guard<std::mutex> g(seen_mu);
    seen.push_back({msg->msg_id, std::vector<uint8_t>(data, data + msg->data_len)});
    return 0;
}

// An event list laid out as a library keeps its own.
struct event_list {
    dev_event_list_t l;
    event_list() : l{{&l.list, &l.list}, PTHREAD_MUTEX_INITIALIZER, {}, 0} {}
    int queued()
    {
        pthread_mutex_lock(&l.mutex);
        int n = l.cur_num;
        pthread_mutex_unlock(&l.mutex);
        return n;
    }
};

struct msg_buf {
    dev_msg_t head;
    uint8_t data[16];
};

void notify(int msg_id, std::vector<uint8_t> data)
{
    msg_buf m{};
    m.head = {msg_id, static_cast<int32_t>(data.size())};
    if (!data.empty()) {
        std::memcpy(m.data, data.data(), data.size());
    }
    ASSERT_EQ(dm_dev_event_notify(&m.head), 0);
    std::memset(&m, 0x5A, sizeof m);  // the host must have taken a copy
}

template <class Pred>
bool eventually(Pred pred)
{
    for (int i = 0; i < 400 && !pred(); ++i) {
        std::this_thread::sleep_for(5ms);
    }
    return pred();
}

// Runs the host's loop on a thread; reports whether it returned.
struct loop_thread {
    std::atomic<bool> returned{false};
    std::thread t;
    loop_thread(dev_event_list_t *list, dev_event_handler h)
        : t([this, list, h] {
              dev_event_thread_prototype(list, h);
              returned = true;
          })
    {}
    ~loop_thread()
    {
        if (returned) {
            t.join();
        } else {
            t.detach();
        }
    }
};

TEST(HostStandin, EventLoopDeliversCopiesInOrderAndStops)
{
    static event_list list;
    notify(DEV_MSG_CHIPIP_ALLOC, {1, 2, 3, 4});  // before any list is known
    notify(DEV_MSG_FC_START_CFG_OVER, {});
    ASSERT_EQ(dm_os_event_init(&list.l.os_event), 0);
    EXPECT_EQ(list.queued(), 2);
    notify(DEV_MSG_FC_SAVE_CFG, {9});

    {
        loop_thread loop(&list.l, record_event);
        ASSERT_TRUE(eventually([] { return dm_host_events_delivered() == 3; }));
        {
            std::lock_guard<std::mutex> g(seen_mu);
            ASSERT_EQ(seen.size(), 3u);
            EXPECT_EQ(seen[0].data, (std::vector<uint8_t>{1, 2, 3, 4}));
            EXPECT_EQ(seen[1].msg_id, DEV_MSG_FC_START_CFG_OVER);
            EXPECT_EQ(seen[2].data, (std::vector<uint8_t>{9}));
        }
        EXPECT_EQ(list.queued(), 0);
        EXPECT_FALSE(loop.returned);
        dm_host_event_stop();
        EXPECT_TRUE(eventually([&] { return loop.returned.load(); }));
    }
    // The stop request is kept: a loop started later returns at once.
    loop_thread late(&list.l, record_event);
    EXPECT_TRUE(eventually([&] { return late.returned.load(); }));
}

TEST(HostStandin, InsertionServiceCopiesAndReplacesInPlace)
{
    struct rec {
        int32_t type;
        char name[12];
    };
    dm_tree_root_t root;
    ASSERT_EQ(dm_tree_init_root(&root), 0);

    rec a{7, "first"};
    ASSERT_EQ(dp_lib_insert_data(&a, sizeof a, 0, &root, 7), 0);
    std::strcpy(a.name, "changed");  // the message buffer is not kept
    auto *stored = static_cast<rec *>(dm_tree_find_node(&root, 7));
    ASSERT_NE(stored, nullptr);
    EXPECT_STREQ(stored->name, "first");

    rec b{7, "second"};
    ASSERT_EQ(dp_lib_insert_data(&b, sizeof b, 0, &root, 7), 0);
    EXPECT_EQ(dm_tree_find_node(&root, 7), stored);
    EXPECT_STREQ(stored->name, "second");

    EXPECT_EQ(dp_lib_insert_data(nullptr, 4, 0, &root, 1), -1);
    EXPECT_EQ(dp_lib_insert_data(&b, sizeof b, 0, nullptr, 1), -1);
    EXPECT_EQ(dm_host_inserted_records(), 2u);
    dm_tree_destroy(&root);
}

TEST(HostStandin, IdentityAnswersFromTheCardTables)
{
    const int my_node = dm_node_make(2, 5);
    const int other = dm_node_make(2, 7);
    int type = 0;
    EXPECT_EQ(dm_get_my_card_type(&type), -1);  // not set yet

    dm_host_set_my_card(my_node, dm_get_gslot_from_lslot(2, 5, 0), 100, DM_TYPE_LC);
    dm_host_set_card(other, 200, 201, DM_TYPE_LC);
    dm_host_set_card(other | (1 << 18), 300, 300, DM_TYPE_SUB_LC);
    EXPECT_EQ(dm_get_my_devid(), 2);
    EXPECT_EQ(dm_get_dev_phy_type_by_node(my_node), 100);  // the host knows its own card
    EXPECT_EQ(dm_get_dev_cfg_type_by_node(other), 201);
    EXPECT_EQ(dm_get_local_card_type_by_lslotid(dm_get_gslot_from_lslot(2, 7, 1)), 300);
    EXPECT_EQ(dm_get_dev_phy_type(1, 7, 0), -1);

    dm_host_set_my_card_type_fails(true);
    EXPECT_EQ(dm_get_my_card_type(&type), -1);
}

constexpr unsigned long kDevRequest = 0xC1007815UL;

// A request buffer with room beyond the question, to see what the driver writes.
struct request {
    uint8_t bytes[32];
    request(uint32_t type, std::vector<int32_t> data)
    {
        std::memset(bytes, 0xEE, sizeof bytes);
        const int32_t len = static_cast<int32_t>(data.size() * 4);
        std::memcpy(bytes, &type, 4);
        std::memcpy(bytes + 4, &len, 4);
        std::memcpy(bytes + 8, data.data(), data.size() * 4);
    }
    int32_t answer() const
    {
        int32_t v;
        std::memcpy(&v, bytes, 4);
        return v;
    }
};

TEST(HostStandin, KernelDeviceAnswersOnlyOnTheDeviceFile)
{
    dmtest::ScratchDir dir;
    dir.make_dev_file();
    std::ofstream("tmp/plain").put('x');
    dm_host_kdev_set_ifx(0x1234, 7, 0x55);

    const int dev = open("tmp/dm_dev", O_RDONLY);
    ASSERT_GE(dev, 0);
    request ask_ifx(1, {0x1234, 7});
    errno = 0;
    EXPECT_EQ(ioctl(dev, kDevRequest, ask_ifx.bytes), -1);  // detached: no driver behind it
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(dm_host_kdev_requests(), 0u);

    dm_host_kdev_attach(true);
    const request before = ask_ifx;
    ASSERT_EQ(ioctl(dev, kDevRequest, ask_ifx.bytes), 0);
    EXPECT_EQ(ask_ifx.answer(), 0x55);
    EXPECT_EQ(std::memcmp(ask_ifx.bytes + 4, before.bytes + 4, sizeof before.bytes - 4), 0);

    request unknown(1, {0x1234, 8});
    const request unknown_before = unknown;
    errno = 0;
    EXPECT_EQ(ioctl(dev, kDevRequest, unknown.bytes), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(std::memcmp(unknown.bytes, unknown_before.bytes, sizeof unknown.bytes), 0);
    close(dev);

    // Another file, or the device file by another path, has no driver.
    const std::string absolute = dir.path() + "/tmp/dm_dev";
    for (const char *path : {"tmp/plain", absolute.c_str()}) {
        const int fd = open(path, O_RDONLY);
        ASSERT_GE(fd, 0) << path;
        request q(1, {0x1234, 7});
        errno = 0;
        EXPECT_EQ(ioctl(fd, kDevRequest, q.bytes), -1) << path;
        EXPECT_EQ(errno, ENOTTY) << path;
        close(fd);
    }
    EXPECT_EQ(dm_host_kdev_requests(), 2u);
    dm_host_kdev_attach(false);
}

TEST(HostStandin, LogLinesAreKeptAndAppendedToTheFile)
{
    dmtest::ScratchDir dir;
    dm_host_log_set_path("host.log");
    EXPECT_EQ(dm_logfile_write_log(logfile_info, "<%s, %d>:chipid:%d\n", "f", 12, 5), 0);
    EXPECT_EQ(dm_logfile_write_log(logfile_info, "plain"), 0);
    EXPECT_EQ(dmtest::log_lines(), (std::vector<std::string>{"<f, 12>:chipid:5", "plain"}));
    std::stringstream file;
    file << std::ifstream("host.log").rdbuf();
    EXPECT_EQ(file.str(), "<f, 12>:chipid:5\nplain\n");
    dm_host_log_clear();
    EXPECT_EQ(dm_host_log_count(), 0);
    dm_host_log_set_path(nullptr);
}

TEST(HostStandin, BatchStepsAreRecordedInCallOrder)
{
    dp_lib_role_batch_local();
    dm_check_ldp_probe_noti_batch();
    addr_lib_notity_dcm_ready();
    char buf[128];
    EXPECT_EQ(dm_host_batch_steps(buf, sizeof buf), 3);
    EXPECT_STREQ(buf,
                 "dp_lib_role_batch_local\ndm_check_ldp_probe_noti_batch\n"
                 "addr_lib_notity_dcm_ready\n");
    dm_host_batch_steps_clear();
    EXPECT_EQ(dm_host_batch_steps(buf, sizeof buf), 0);
}

}  // namespace
