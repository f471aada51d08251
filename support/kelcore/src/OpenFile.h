#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "System.h"
#include "kelcore/filesupport.h"

namespace kelcore::filesupport {

/// Returns whether a path can be passed to the system: with an embedded zero byte it would name another file.
inline bool IsUsable(const UTF8String& inPath) {
    return inPath.find('\0') == UTF8String::npos;
}

inline const char* SystemPath(const UTF8String& inPath) {
    return reinterpret_cast<const char*>(inPath.c_str());
}

template <typename Result>
Result OrThrow(Result inResult, std::string_view inOperation, const UTF8String& inPath) {
    if (inResult < 0)
        throw file_exception(inOperation, inPath, static_cast<int>(-inResult));
    return inResult;
}

/// A descriptor together with the path it was opened with. Calls interrupted by a signal are repeated.
class OpenFile {
public:
    OpenFile(const UTF8String& inPath, system::Access inAccess);
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile();

    std::uint64_t Length() const;
    void SetLength(std::uint64_t inLength) const;

    /// Syncs the file to the device; the first time with its entry in its folder. Once this has failed, it
    /// fails again for the same reason.
    void Sync() const;

    /// Returns the length of the hole at a position, which reads as zeros; 0 if there is none or the system
    /// cannot report it.
    std::uint64_t HoleAt(std::uint64_t inPosition) const;

    /// Reads once. @return bytes read, possibly fewer than requested; 0 at the end of the file.
    std::size_t ReadSome(unsigned char* outBytes, std::size_t inCount, std::uint64_t inPosition) const;
    void Read(unsigned char* outBytes, std::size_t inCount, std::uint64_t inPosition) const;

    /// Writes all bytes or throws.
    /// @param ioPosition  advances past every byte that was written, even if others could not be.
    void Write(const unsigned char* inBytes, std::size_t inCount, std::uint64_t& ioPosition) const;

    [[noreturn]] void ThrowAtEnd() const;

private:
    UTF8String mPath;
    int mDescriptor;
    mutable bool mFolderSynced = false;
    mutable int mSyncFailure = 0; ///< the system's reason; 0 if no sync of the file has failed
};

/// Syncs the entries of the folder that contains a file to the device.
void SyncFolderOf(const UTF8String& inPath);

} // namespace kelcore::filesupport
