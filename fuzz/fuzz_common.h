// What every fuzz target shares: the quiet start of the library as an
// application and a host would start it, the application's handlers (which
// check what the library hands them), and a reader over the fuzz input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "dm_host_ctl.h"
#include <dm_lib_pd/dm_lib_pd.h>

namespace dmfuzz {

// Aborts with a message: the fuzzer reports it as a crash with the input.
[[noreturn]] void fail(const char *what, long long a = 0, long long b = 0);

// Checks a condition that must hold whatever the input was.
#define DM_FUZZ_CHECK(cond, ...)                                   \
    do {                                                           \
        if (!(cond))                                               \
            ::dmfuzz::fail("check failed: " #cond, ##__VA_ARGS__); \
    } while (0)

// Once per process: diagnostics silenced (DM_FUZZ_DBG_LEVEL=0..3 turns them
// on again), standard output sent to /dev/null (the show commands print
// whatever the level; DM_FUZZ_STDOUT=1 keeps it), the application's event and RPC
// handlers registered and the library initialised, so events flow to the
// event thread and are checked there.
void start();

// What the application's RPC handler answers next: its result and the reply
// length it reports (it writes min(length, room) bytes). Default 0 and 0.
void set_rpc_answer(int result, int reply_len);

// Device events the application received so far.
unsigned long events_received();

// Keeps the host's records of batch steps and log lines from growing for
// the whole run (the library's own tables grow as designed).
void trim_host_records();

// True for a data message that begins a port-conversion list of more than
// 65536 entries (and at most the 268435455 a list may hold). Such a list is
// handled like a small one, but under the sanitizers its allocation and the
// show that prints it take seconds, so the targets do not send it.
bool is_large_list_begin(const void *msg, size_t size);

// Sequential little-endian reads over the input; past its end every read
// answers zero, so any input decodes to something.
class Reader {
public:
    Reader(const uint8_t *data, size_t size) : p_(data), n_(size) {}
    bool empty() const { return n_ == 0; }
    size_t left() const { return n_; }
    uint8_t u8()
    {
        if (n_ == 0) {
            return 0;
        }
        --n_;
        return *p_++;
    }
    int8_t i8() { return static_cast<int8_t>(u8()); }
    uint16_t u16() { return static_cast<uint16_t>(u8() | (u8() << 8)); }
    int16_t i16() { return static_cast<int16_t>(u16()); }
    int32_t i32()
    {
        uint32_t v = u16();
        v |= static_cast<uint32_t>(u16()) << 16;
        return static_cast<int32_t>(v);
    }
    // Copies up to `len` bytes, zero-filling what the input lacks.
    void bytes(void *dst, size_t len)
    {
        const size_t n = len < n_ ? len : n_;
        if (n > 0) {
            std::memcpy(dst, p_, n);
        }
        if (len > n) {
            std::memset(static_cast<char *>(dst) + n, 0, len - n);
        }
        p_ += n;
        n_ -= n;
    }

private:
    const uint8_t *p_;
    size_t n_;
};

}  // namespace dmfuzz
