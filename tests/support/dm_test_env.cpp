// The test application around the library: its event and RPC handlers, the
// records of what they received, the log reader and the scratch directory.
//
// The support links only the host. The library's registration calls are
// looked up at run time, so the same code serves programs that link the
// library and programs that load it with dlopen (RTLD_GLOBAL).
#include "dm_test_env.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>

namespace dmtest {
namespace {

struct app_state {
    std::mutex mu;
    std::condition_variable cv;
    std::vector<Event> events;
    std::vector<Event> rpc_requests;
    int rpc_result = 0;
    std::vector<uint8_t> rpc_reply;
};

// Never destroyed: the library's event thread may still deliver while the
// process exits.
app_state &app()
{
    static app_state *state = new app_state;
    return *state;
}

Event to_event(dev_msg_t *msg)
{
    dev_msg_t head;
    std::memcpy(&head, msg, sizeof head);
    const auto *data = static_cast<const uint8_t *>(dev_msg_data(msg));
    Event e{head.msg_id, {}};
    if (head.data_len > 0) {
        e.data.assign(data, data + head.data_len);
    }
    return e;
}

int on_event(dev_msg_t *msg)
{
    Event e = to_event(msg);
    app_state &s = app();
    {
        std::lock_guard<std::mutex> g(s.mu);
        s.events.push_back(std::move(e));
    }
    s.cv.notify_all();
    return 0;
}

// Answers with the reply the test set. A reply longer than the room given is
// cut to the room in the copy, but its full length is reported, so a test can
// see what the library does with an answer that claims too much.
int on_rpc(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len)
{
    app_state &s = app();
    std::lock_guard<std::mutex> g(s.mu);
    s.rpc_requests.push_back(to_event(msg));
    if (s.rpc_result != 0) {
        return s.rpc_result;
    }
    const size_t room = buf_len > 0 ? static_cast<size_t>(buf_len) : 0;
    const size_t n = std::min(room, s.rpc_reply.size());
    if (n > 0) {
        std::memcpy(ret_buf, s.rpc_reply.data(), n);
    }
    *ret_len = static_cast<int>(s.rpc_reply.size());
    return 0;
}

template <class Fn>
Fn library_symbol(const char *name)
{
    return reinterpret_cast<Fn>(dlsym(RTLD_DEFAULT, name));
}

void register_app()
{
    using reg_event_fn = int (*)(dev_event_handler);
    using reg_rpc_fn = int (*)(dev_rpc_handler);
    auto reg_event = library_symbol<reg_event_fn>("dm_reg_dev_event_handler_pd");
    auto reg_rpc = library_symbol<reg_rpc_fn>("dm_reg_dev_rpc_handler_pd");
    if (reg_event == nullptr || reg_rpc == nullptr) {
        ADD_FAILURE() << "the library is not loaded (or not with RTLD_GLOBAL)";
        return;
    }
    EXPECT_EQ(reg_event(on_event), 0);
    EXPECT_EQ(reg_rpc(on_rpc), 0);
    EXPECT_EQ(dm_host_run_init(), 0);
}

int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    return ::remove(path);
}

}  // namespace

void start_app()
{
    static std::once_flag once;
    std::call_once(once, register_app);
}

std::vector<Event> events()
{
    app_state &s = app();
    std::lock_guard<std::mutex> g(s.mu);
    return s.events;
}

std::vector<Event> wait_events(size_t n, int timeout_ms)
{
    app_state &s = app();
    std::unique_lock<std::mutex> lk(s.mu);
    s.cv.wait_for(lk, std::chrono::milliseconds(timeout_ms), [&] { return s.events.size() >= n; });
    return s.events;
}

void clear_events()
{
    app_state &s = app();
    std::lock_guard<std::mutex> g(s.mu);
    s.events.clear();
}

void set_rpc_reply(int result, std::vector<uint8_t> reply)
{
    app_state &s = app();
    std::lock_guard<std::mutex> g(s.mu);
    s.rpc_result = result;
    s.rpc_reply = std::move(reply);
}

std::vector<Event> rpc_requests()
{
    app_state &s = app();
    std::lock_guard<std::mutex> g(s.mu);
    return s.rpc_requests;
}

std::vector<std::string> log_lines()
{
    std::vector<std::string> lines;
    const int n = dm_host_log_count();
    std::vector<char> buf(8192);
    for (int i = 0; i < n; ++i) {
        if (dm_host_log_line(i, buf.data(), buf.size())) {
            lines.emplace_back(buf.data());
        }
    }
    return lines;
}

int logged(const std::string &text)
{
    int n = 0;
    for (const std::string &line : log_lines()) {
        n += has(line, text);
    }
    return n;
}

size_t count(const std::string &text, const std::string &part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++n;
    }
    return n;
}

void send_lports(const std::vector<dp_lib_lport_t> &recs, int32_t count)
{
    std::vector<uint8_t> b(DP_LIB_MY_LPORT_HEAD_LEN + recs.size() * sizeof(dp_lib_lport_t));
    std::memcpy(b.data(), &count, sizeof count);
    if (!recs.empty()) {
        std::memcpy(b.data() + DP_LIB_MY_LPORT_HEAD_LEN, recs.data(),
                    recs.size() * sizeof(dp_lib_lport_t));
    }
    send_bytes(DP_LIB_MSG_MY_LPORT_CFG, b);
}

dp_lib_port_t port_record(int dev, int slot, int unit, int cport, int lport)
{
    dp_lib_port_t p;
    std::memset(&p, 0, sizeof p);
    p.phyid = dm_phyid_make(dev, slot, unit, cport);
    p.ss_phyid = dm_slot_lport_phyid(dev, slot, lport);
    p.node = dm_node_make(dev, slot);
    p.devid = dev;
    p.slotid = slot;
    p.portid = lport;
    p.l_chipid = unit;
    p.chip_portid = cport;
    return p;
}

void alloc_chipids(int gslot, const std::vector<int> &ids, int per_unit, int card_type)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } m;
    std::memset(&m, 0, sizeof m);
    m.head = {static_cast<int32_t>(sizeof m), ADDR_LIB_BS_SYNC, 1};
    m.slot.status = CHIPID_VALID;
    m.slot.gslot = gslot;
    m.slot.card_type = card_type;
    m.slot.idnum_per_unit = static_cast<uint16_t>(per_unit);
    m.slot.id_num = static_cast<uint16_t>(ids.size());
    std::copy(ids.begin(), ids.end(), m.slot.id);
    EXPECT_TRUE(dm_host_addr_data(&m, static_cast<int>(sizeof m)));
}

ScratchDir::ScratchDir()
{
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) != nullptr) {
        old_ = cwd;
    }
    const char *tmp = std::getenv("TMPDIR");
    std::string templ =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/dm_test_XXXXXX";
    if (mkdtemp(templ.data()) == nullptr) {
        ADD_FAILURE() << "mkdtemp failed for " << templ;
        return;
    }
    path_ = templ;
    EXPECT_EQ(chdir(path_.c_str()), 0);
}

ScratchDir::~ScratchDir()
{
    if (!old_.empty() && chdir(old_.c_str()) != 0) {
        ADD_FAILURE() << "cannot return to " << old_;
    }
    if (!path_.empty()) {
        nftw(path_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    }
}

void ScratchDir::make_dev_file()
{
    mkdir("tmp", 0755);
    const int fd = ::open("tmp/dm_dev", O_CREAT | O_WRONLY | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << "cannot create tmp/dm_dev";
    ::close(fd);
}

}  // namespace dmtest
