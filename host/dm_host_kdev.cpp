// The device-manager kernel driver's stand-in.
//
// The library asks the driver through an ioctl on a descriptor it opens on
// the device file DM_KDEV_PATH (request and buffer layout in dm_kdev.h).
// This file interposes open, close and ioctl: descriptors opened on exactly
// that path are remembered, and while the stand-in is attached, the driver's one
// request on such a descriptor is answered from tables the control calls
// fill. Everything else goes to the system's own functions.
#undef _FORTIFY_SOURCE  // this file defines open itself
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "dm_host_ctl.h"
#include "dm_host_internal.h"
#include "dm_kdev.h"

namespace {

// Descriptors open on the device file, one flag per descriptor number.
// Descriptors beyond the last flag are never taken for the device.
constexpr int kMaxTrackedFd = 4096;
std::atomic<bool> device_fd[kMaxTrackedFd];

std::atomic<bool> attached{false};
std::atomic<unsigned long> requests{0};

// One answer of the driver and the question it answers, in two parts.
struct answer_entry {
    int q1;
    int q2;
    int answer;
};

// Guards the driver's two tables.
pthread_mutex_t kdev_lock = PTHREAD_MUTEX_INITIALIZER;
dm_host::table<answer_entry> ifx_of_port;  // (lsm_key, llcb_type) -> ifx
dm_host::table<answer_entry> key_of_ifx;   // (ifx, 0) -> lsm_key

using open_fn = int (*)(const char *, int, ...);
using close_fn = int (*)(int);
using ioctl_fn = int (*)(int, unsigned long, ...);

// The real functions behind the stand-in's open, close and ioctl. They are
// looked up once, when the host library is loaded, and never from inside a
// call: a sanitizer's runtime calls open from its own internals (symbolizing
// a report at exit, say), where a dlsym, with the error-string allocation it
// may make, corrupts the runtime's allocator. Only a call that comes before
// the load-time lookup (from another library's constructor) looks up lazily.
struct real_functions {
    std::atomic<open_fn> open{nullptr};
    std::atomic<open_fn> open64{nullptr};
    std::atomic<close_fn> close{nullptr};
    std::atomic<ioctl_fn> ioctl{nullptr};
};
real_functions real;

template <class Fn>
Fn next_symbol(std::atomic<Fn> &slot, const char *name)
{
    Fn fn = slot.load(std::memory_order_acquire);
    if (fn == nullptr) {
        fn = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
        slot.store(fn, std::memory_order_release);
    }
    return fn;
}

open_fn real_open() { return next_symbol(real.open, "open"); }
open_fn real_open64() { return next_symbol(real.open64, "open64"); }
close_fn real_close() { return next_symbol(real.close, "close"); }
ioctl_fn real_ioctl() { return next_symbol(real.ioctl, "ioctl"); }

__attribute__((constructor)) void look_up_real_functions()
{
    real_open();
    real_open64();
    real_close();
    real_ioctl();
}

bool trackable(int fd) { return fd >= 0 && fd < kMaxTrackedFd; }

// Every successful open sets the descriptor's flag anew, so a number reused
// for another file is never taken for the device.
void note_open(int fd, const char *path)
{
    if (trackable(fd)) {
        device_fd[fd].store(path != nullptr && std::strcmp(path, DM_KDEV_PATH) == 0);
    }
}

bool is_device(int fd) { return trackable(fd) && device_fd[fd].load(); }

int fail(int err)
{
    errno = err;
    return -1;
}

// The entry of `t` for question (q1, q2), or null; kdev_lock held.
answer_entry *find_answer(dm_host::table<answer_entry> &t, int q1, int q2)
{
    return t.find([&](const answer_entry &x) { return x.q1 == q1 && x.q2 == q2; });
}

bool look_up(dm_host::table<answer_entry> &t, int q1, int q2, int *answer)
{
    dm_host::mutex_guard g(kdev_lock);
    const answer_entry *e = find_answer(t, q1, q2);
    if (e != nullptr) {
        *answer = e->answer;
    }
    return e != nullptr;
}

void set_answer(dm_host::table<answer_entry> &t, int q1, int q2, int answer)
{
    dm_host::mutex_guard g(kdev_lock);
    if (answer_entry *e = find_answer(t, q1, q2)) {
        e->answer = answer;
        return;
    }
    t.push(answer_entry{q1, q2, answer});
}

// Answers one request. The driver reads the head and the question it
// announces, and writes only its 32-bit answer over the first 4 bytes.
int answer(unsigned char *buf)
{
    if (buf == nullptr) {
        return fail(EFAULT);
    }
    dm_pd_msg_head_t head;
    std::memcpy(&head, buf, sizeof head);
    const unsigned char *question = buf + sizeof head;
    int32_t result;
    if (head.dm_ioctl_msg_type == DM_IOCTL_GET_IFX_FROM_PORT_INFO) {
        dm_lsm_port_info_t port;
        if (head.data_len < static_cast<int32_t>(sizeof port)) {
            return fail(EINVAL);
        }
        std::memcpy(&port, question, sizeof port);
        if (!look_up(ifx_of_port, port.lsm_key, port.llcb_type, &result)) {
            return fail(ENOENT);
        }
    } else if (head.dm_ioctl_msg_type == DM_IOCTL_GET_PHYID_FROM_IFX) {
        int32_t ifx;
        if (head.data_len < static_cast<int32_t>(sizeof ifx)) {
            return fail(EINVAL);
        }
        std::memcpy(&ifx, question, sizeof ifx);
        if (!look_up(key_of_ifx, ifx, 0, &result)) {
            return fail(ENOENT);
        }
    } else {
        return fail(EINVAL);
    }
    std::memcpy(buf, &result, sizeof result);
    return 0;
}

int open_with(open_fn fn, const char *path, int flags, va_list ap)
{
    if (fn == nullptr) {
        return fail(ENOSYS);
    }
    // The mode is there only when a file may be created.
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        mode = static_cast<mode_t>(va_arg(ap, int));
    }
    const int fd = fn(path, flags, mode);
    note_open(fd, path);
    return fd;
}

}  // namespace

extern "C" {

// open and open64 with the stand-in in front of each one's real function: one
// body, written out by a macro because a C variadic call cannot be forwarded.
#define DM_HOST_OPEN(name, real)                             \
    int name(const char *path, int flags, ...)               \
    {                                                        \
        va_list ap;                                          \
        va_start(ap, flags);                                 \
        const int fd = open_with((real)(), path, flags, ap); \
        va_end(ap);                                          \
        return fd;                                           \
    }
DM_HOST_OPEN(open, real_open)
DM_HOST_OPEN(open64, real_open64)
#undef DM_HOST_OPEN

// The checked forms a fortified caller uses; they never create a file.
int __open_2(const char *path, int flags) { return open(path, flags); }

int __open64_2(const char *path, int flags) { return open64(path, flags); }

int close(int fd)
{
    if (trackable(fd)) {
        device_fd[fd].store(false);
    }
    close_fn fn = real_close();
    return fn == nullptr ? fail(ENOSYS) : fn(fd);
}

int ioctl(int fd, unsigned long request, ...)
{
    va_list ap;
    va_start(ap, request);
    void *arg = va_arg(ap, void *);
    va_end(ap);
    if (request == DM_KDEV_REQUEST && attached.load() && is_device(fd)) {
        requests.fetch_add(1);
        return answer(static_cast<unsigned char *>(arg));
    }
    ioctl_fn fn = real_ioctl();
    return fn == nullptr ? fail(ENOSYS) : fn(fd, request, arg);
}

// ---- control ------------------------------------------------------------------

void dm_host_kdev_attach(bool on) { attached.store(on); }

void dm_host_kdev_set_ifx(int lsm_key, int llcb_type, int ifx)
{
    set_answer(ifx_of_port, lsm_key, llcb_type, ifx);
}

void dm_host_kdev_set_lsm_key(int ifx, int lsm_key) { set_answer(key_of_ifx, ifx, 0, lsm_key); }

void dm_host_kdev_clear(void)
{
    dm_host::mutex_guard g(kdev_lock);
    ifx_of_port.clear();
    key_of_ifx.clear();
}

unsigned long dm_host_kdev_requests(void) { return requests.load(); }

}  // extern "C"
