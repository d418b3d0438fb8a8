// What every fuzz target shares: an in-process daemon that answers each
// request with the fuzz input as its reply datagram, and a guard that places
// the caller's record between canaries inside a larger buffer.
//
// A target for a query is a few lines:
//
//   extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
//       return temor::fuzz::with_reply(data, size, [](int sock) {
//           temor::fuzz::Guarded<TeSomeRecord> rec;
//           rec.check(TE_MOR_GetFirstSome(sock, rec.get()));
//       });
//   }
//
// sock is a socket connected to the daemon, for the queries on a held socket;
// queries that open their own socket reach the same daemon.
//
// The daemon's address and the platform's state live in a private directory,
// /tmp/temor-fuzz-PID-XXXXXX, removed when the process exits normally. The
// platform's journal there (calls.log) leads to /dev/null, so that it does
// not grow with every run.
#pragma once

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "include/te_mor.h"

namespace temor::fuzz {

// The daemon's side: a Unix datagram socket at the daemon's address in a
// private directory, served by a thread that answers every request with the
// current reply.
class Responder {
public:
    static Responder &get() {
        static Responder r;
        return r;
    }

    void set_reply(const uint8_t *data, size_t size) {
        std::lock_guard<std::mutex> lock(mu_);
        reply_.assign(data, data + size);
    }

private:
    Responder() {
        std::snprintf(dir_, sizeof dir_, "/tmp/temor-fuzz-%ld-XXXXXX", static_cast<long>(getpid()));
        if (mkdtemp(dir_) == nullptr) die("mkdtemp");
        std::atexit(remove_dir);
        setenv("TE_LIPC_DIR", dir_, 1);
        // MPLS-TE runs on master node 1, so that checked reads go on to ask.
        setenv("TE_PLATFORM_DIR", dir_, 1);
        const std::string services = std::string(dir_) + "/services";
        if (mkdir(services.c_str(), 0700) != 0 || mkdir((services + "/1").c_str(), 0700) != 0)
            die("mkdir");
        if (symlink("/dev/null", (std::string(dir_) + "/calls.log").c_str()) != 0) die("symlink");
        if (FILE *f = std::fopen((services + "/1/TE").c_str(), "w")) {
            std::fputs("1\n", f);
            std::fclose(f);
        }
        fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s/lipc-0a7280", dir_);
        if (fd_ < 0 || bind(fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0)
            die("bind");
        std::thread([this] { serve(); }).detach();
    }

    static void remove_dir() {
        std::error_code ignored;
        std::filesystem::remove_all(dir_, ignored);
    }

    [[noreturn]] static void die(const char *what) {
        std::perror(what);
        std::abort();
    }

    void serve() {
        std::vector<uint8_t> answer;
        for (;;) {
            uint8_t buf[4096];
            sockaddr_un from{};
            socklen_t fromLen = sizeof from;
            if (recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr *>(&from), &fromLen) < 0)
                continue;
            {
                std::lock_guard<std::mutex> lock(mu_);
                answer = reply_;
            }
            (void)sendto(fd_, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr *>(&from),
                         fromLen);
        }
    }

    static inline char dir_[64];
    int fd_ = -1;
    std::mutex mu_;
    std::vector<uint8_t> reply_;
};

// Runs call(sock) while the daemon answers every request with data.
template <class Call>
int with_reply(const uint8_t *data, size_t size, Call call) {
    Responder::get().set_reply(data, size);
    const int sock = TE_MOR_LIPCOpen();
    if (sock < 0) {
        std::fprintf(stderr, "cannot reach the in-process daemon\n");
        std::abort();
    }
    call(sock);
    TE_MOR_LIPCClose(sock);
    return 0;
}

// The guard's own byte loops stay out of the coverage the fuzzer steers by:
// their comparisons say nothing about the library, and on a large record
// (an array of destinations) they would take most of a run's time. (The
// default build's tests use the guard too, with gcc, which has no such
// coverage to leave out.)
#if defined(__clang__)
#define TEMOR_FUZZ_NOT_STEERING __attribute__((no_sanitize("coverage")))
#else
#define TEMOR_FUZZ_NOT_STEERING
#endif

// A record of type T inside a larger buffer, everything filled with a
// pattern; on destruction the bytes around the record must be unchanged.
template <class T, size_t Margin = 64>
class Guarded {
public:
    Guarded() { std::memset(buf_, kFill, sizeof buf_); }
    TEMOR_FUZZ_NOT_STEERING ~Guarded() {
        for (size_t i = 0; i < Margin; ++i) {
            if (buf_[i] != kFill || buf_[Margin + sizeof(T) + i] != kFill) {
                std::fprintf(stderr, "a decoder wrote outside the %zu-byte record (%s, byte %zu)\n",
                             sizeof(T), buf_[i] != kFill ? "before it" : "after it", i);
                std::abort();
            }
        }
    }
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;

    T *get() { return reinterpret_cast<T *>(buf_ + Margin); }

    // Every byte of the buffer before a read.
    static constexpr uint8_t kFill = 0xa5;

    // Checks the result of a read into the record: a read that failed must
    // have left the record as it was.
    TEMOR_FUZZ_NOT_STEERING void check(uint32_t rc) const {
        if (rc == TE_MOR_OK) return;
        for (size_t i = 0; i < sizeof(T); ++i) {
            if (buf_[Margin + i] != kFill) {
                std::fprintf(stderr, "a read failing with 0x%08x changed byte %zu of the record\n",
                             rc, i);
                std::abort();
            }
        }
    }

private:
    alignas(16) uint8_t buf_[Margin + sizeof(T) + Margin];
};

// Checks of the reads that hand the caller memory of its own to release.

// An explicit path: a success hands over a name (never empty) and exactly
// hopCount hops, released here; a failure has released everything itself.
inline void expath_read(uint32_t rc, TeExpathReply &r) {
    if (rc != TE_MOR_OK) return;
    if (r.name != nullptr && std::strlen(r.name) == 0) {
        std::fprintf(stderr, "an explicit path read handed over an empty name\n");
        std::abort();
    }
    if ((r.hops != nullptr) != (r.hopCount != 0)) {
        std::fprintf(stderr, "an explicit path read handed over hopCount %u with %s hop array\n",
                     r.hopCount, r.hops != nullptr ? "a" : "no");
        std::abort();
    }
    TE_MOR_FreeExpathReply(&r);
}

// A segment-routing mapping list read into a Guarded list: a failure leaves
// entries as they were (the fill pattern, never to be freed); a success
// hands over an array, released here.
inline void sr_list_read(uint32_t rc, TeSrMappingList *list) {
    if (rc == TE_MOR_OK) {
        std::free(list->entries);
        return;
    }
    TeSrMappingEntry *untouched;
    std::memset(&untouched, Guarded<TeSrMappingList>::kFill, sizeof untouched);
    if (list->entries != untouched) {
        std::fprintf(stderr, "a list read failing with 0x%08x changed entries\n", rc);
        std::abort();
    }
}

}  // namespace temor::fuzz
