#include "support/Faults.h"

#if defined(_WIN32)
#include <windows.h>
#include <winioctl.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

#include "System.h"

// The system layer as it is shipped, in a namespace of its own: kelcore::system::shipped. Its includes have
// been included above, so only its own code is renamed.
#define system system::shipped
#if defined(_WIN32)
#include "SystemWindows.cpp"
#else
#include "SystemPosix.cpp"
#endif
#undef system

namespace faults {

namespace {

System gSystem;

void Note(char inKind, std::uint64_t inPosition = 0, const void* inBytes = nullptr, std::size_t inCount = 0) {
    const auto* bytes = static_cast<const unsigned char*>(inBytes);
    if (gSystem.changes != nullptr)
        gSystem.changes->push_back({inKind, inPosition, {bytes, bytes + inCount}});
}

bool Interrupted() {
    static bool toggle = false;
    return gSystem.interrupt && (toggle = !toggle);
}

} // namespace

System& SystemCalls() {
    return gSystem;
}

} // namespace faults

// Each function counts its calls, fails when requested, and otherwise forwards the call.
namespace kelcore::system {

using faults::gSystem;
using faults::System;

namespace {

/// @param inPretended  the result of a change that does not reach the disk.
template <typename Call>
std::invoke_result_t<Call> Decorated(bool inChangesDisk, std::invoke_result_t<Call> inPretended,
                                     Call inCall) {
    if (gSystem.outputOnly && !inChangesDisk)
        return inCall();
    const auto number = gSystem.calls++;
    if (number < gSystem.failAt || (gSystem.mode == System::Mode::kFailOnce && number != gSystem.failAt))
        return inCall();
    ++gSystem.fired;
    if (gSystem.mode != System::Mode::kStop)
        return -gSystem.error;
    return inChangesDisk ? inPretended : inCall();
}

bool MadeHole(int inDescriptor, std::size_t inCount, std::uint64_t inPosition) {
    return gSystem.sparse && inCount >= (1 << 20) &&
           inPosition >= static_cast<std::uint64_t>(shipped::LengthOf(inDescriptor)) &&
           shipped::SetLength(inDescriptor, inPosition + inCount) == 0;
}

} // namespace

int Open(const char* inPath, Access inAccess) noexcept {
    const bool creates = inAccess == Access::kCreate || inAccess == Access::kCreateOrEmpty;
    const int descriptor = Decorated(creates, -gSystem.error, [&] {
        return faults::Interrupted() ? -EINTR : shipped::Open(inPath, inAccess);
    });
    gSystem.opens += descriptor >= 0;
    return descriptor;
}

int Close(int inDescriptor) noexcept {
    ++gSystem.closes;
    const int result = shipped::Close(inDescriptor); // a close that fails still closes the descriptor
    return Decorated(false, 0, [&] { return result; });
}

std::int64_t ReadAt(int inDescriptor, void* outBytes, std::size_t inCount,
                    std::uint64_t inPosition) noexcept {
    const std::int64_t result = Decorated(false, 0, [&]() -> std::int64_t {
        if (faults::Interrupted())
            return -EINTR;
        ++gSystem.reads;
        const auto count =
            shipped::ReadAt(inDescriptor, outBytes, std::min(inCount, gSystem.largestTransfer), inPosition);
        gSystem.bytesRead += static_cast<std::uint64_t>(std::max<std::int64_t>(count, 0));
        return count;
    });
    if (result < 0 && inCount <= 65536)
        std::memset(outBytes, 0xEE, inCount); // the contents are then unspecified
    return result;
}

std::int64_t WriteAt(int inDescriptor, const void* inBytes, std::size_t inCount,
                     std::uint64_t inPosition) noexcept {
    return Decorated(true, static_cast<std::int64_t>(inCount), [&]() -> std::int64_t {
        if (faults::Interrupted())
            return -EINTR;
        ++gSystem.writes;
        if (MadeHole(inDescriptor, inCount, inPosition))
            return static_cast<std::int64_t>(inCount);
        if (inPosition >= gSystem.largestFile)
            return -ENOSPC;
        const std::uint64_t room = gSystem.largestFile - inPosition;
        const std::size_t most = std::min(inCount, gSystem.largestTransfer);
        const auto count = shipped::WriteAt(
            inDescriptor, inBytes, static_cast<std::size_t>(std::min<std::uint64_t>(most, room)), inPosition);
        gSystem.bytesWritten += static_cast<std::uint64_t>(std::max<std::int64_t>(count, 0));
        faults::Note('w', inPosition, inBytes, static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
        return count;
    });
}

std::int64_t LengthOf(int inDescriptor) noexcept {
    return Decorated(false, 0, [&] { return shipped::LengthOf(inDescriptor); });
}

int SetLength(int inDescriptor, std::uint64_t inLength) noexcept {
    return Decorated(true, 0, [&] { return shipped::SetLength(inDescriptor, inLength); });
}

int Sync(int inDescriptor, Synced inSynced) noexcept {
    const int result = Decorated(
        true, 0, [&] { return gSystem.changes != nullptr ? 0 : shipped::Sync(inDescriptor, inSynced); });
    faults::Note(result < 0 ? 'X' : inSynced == Synced::kAll ? 'A' : 'B');
    return result;
}

int SyncFolderOf(const char* inPath) noexcept {
    const int result =
        Decorated(true, 0, [&] { return gSystem.changes != nullptr ? 0 : shipped::SyncFolderOf(inPath); });
    faults::Note(result < 0 ? 'x' : 'D');
    return result;
}

std::int64_t NextData(int inDescriptor, std::uint64_t inPosition) noexcept {
    return Decorated(false, -EINVAL, [&]() -> std::int64_t {
        return gSystem.findsHoles ? shipped::NextData(inDescriptor, inPosition) : -EINVAL;
    });
}

std::int64_t SizeOfRegularFile(const char* inPath) noexcept {
    return Decorated(false, 0, [&] { return shipped::SizeOfRegularFile(inPath); });
}

int Remove(const char* inPath) noexcept {
    return Decorated(true, 0, [&] {
        ++gSystem.removals;
        return shipped::Remove(inPath);
    });
}

int Rename(const char* inPath, const char* inNewPath) noexcept {
    return Decorated(true, 0, [&] {
        faults::Note('R');
        return shipped::Rename(inPath, inNewPath);
    });
}

} // namespace kelcore::system
