#pragma once

#include <csignal>
#include <cstdint>

#include <sys/resource.h>

namespace fuzz {

/// While it exists, no file of the process and its children can grow past a size. A write that would exceed
/// it writes as much as fits: a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::uint64_t inBytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &mBefore);
        const ::rlimit limit{inBytes, mBefore.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &mBefore); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    ::rlimit mBefore{};
};

} // namespace fuzz
