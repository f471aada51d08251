#pragma once

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <optional>

#include <sys/mount.h>
#include <sys/resource.h>

namespace testing_support {

/// While it lives, no file of the process and of its children grows past a size. Of a write that would take
/// it there, as much is written as fits: a full disk.
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

/// Puts a disk of 1 MiB in the place of a folder. Where it may not mount one, files are limited to that size.
class SmallDisk {
public:
    explicit SmallDisk(const std::filesystem::path& inFolder) : mFolder(inFolder) {
        if (::mount("none", mFolder.c_str(), "tmpfs", 0, "size=1m") != 0)
            mLimit.emplace(1 << 20);
    }
    ~SmallDisk() {
        if (!mLimit)
            ::umount2(mFolder.c_str(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

private:
    std::filesystem::path mFolder;
    std::optional<FileSizeLimit> mLimit;
};

} // namespace testing_support
