#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "kelcore/config.h"
#include "kelcore/export.h"
#include "kelcore/string.h"
#include "kelcore/utility.h"

/// Files and byte streams.
namespace kelcore::filesupport {

/// Where a file lives. There is one kind: a path that the operating system understands.
enum StorageType : std::uint32_t { kPathStorage = 0 };

/// What streams and files throw. The message names the operation, the path and the system's reason.
class KELCORE_EXPORT file_exception : public config::kel_exception {
public:
    /// @param inOperation  what could not be done, as a verb: "read".
    /// @param inPath  the file that it could not be done to.
    /// @param inSystemError  the system's error number; 0 for the end of the file.
    file_exception(std::string_view inOperation, const UTF8String& inPath, int inSystemError);
    /// Copying does not throw.
    file_exception(const file_exception&) noexcept = default;
    /// Copying does not throw.
    file_exception& operator=(const file_exception&) noexcept = default;
    ~file_exception() override;

    /// @return the system's error number, an errno value; 0 for the end of the file.
    int SystemError() const { return mSystemError; }

private:
    int mSystemError;
};

/// @name The reason of a failure
/// What an operation answers with a code or false alone, the layers below have seen as a file_exception. As
/// errno does for system calls, these keep the reason of the latest one that was made on the calling thread.
/// @{

inline constexpr int kNoFailure = -1; ///< no file_exception was made since ForgetFailure

/// Begins an operation whose reason of failure is of interest.
void ForgetFailure() noexcept;
/// @return SystemError() of this thread's latest file_exception, or kNoFailure.
int LatestFailure() noexcept;
/// @}

/// An open descriptor with its path; closes on destruction.
class OpenFile;

/// A path handle, passed by value. It holds no descriptor unless it comes from Opened or Created. Everything
/// that these two don't name goes by the path, and asks the system anew.
class KELCORE_EXPORT File {
public:
    /// Names nothing: it does not exist, and every operation on it fails.
    File() = default;
    /// Keeps the path; the system is not asked yet.
    File(const UTF8String& inPath, StorageType inStorageType) : mPath(inPath), mStorageType(inStorageType) {}

    /// @return whether the path names a regular file, through symbolic links. Devices, pipes and folders do
    /// not count, nor does what cannot be asked about. Does not throw for any path.
    bool Exists() const;

    /// @return the size in bytes. @throws file_exception
    std::uint64_t Size() const;

    /// Makes an empty file.
    /// @param inReplace  false: what exists at the path already is left alone, and the call fails; true: a
    /// file there is emptied.
    /// @throws file_exception
    void Create(bool inReplace) const;

    /// Makes an empty file as Create(false) does, and keeps it open: an output stream made of the result
    /// writes to that very file, whatever the path has come to name. The descriptor is closed with the last
    /// copy of the result and the last stream made of one.
    /// @return the file with a descriptor, for an output stream, Size and Exists. @throws file_exception
    File Created() const;

    /// @return whether it comes from Created.
    bool IsCreated() const { return mCreatedFile != nullptr; }

    /// Removes the file; of a symbolic link, the link. @throws file_exception
    void Delete() const;

    /// Renames the file, and replaces another one of the new name. A stream that has either of them open
    /// keeps it.
    /// @throws file_exception
    void MoveTo(const UTF8String& inNewPath) const;

    /// Brings the entries of the folder that holds the file to the device, so that its name outlives a power
    /// cut. The folder must be readable.
    /// @throws file_exception
    void SyncFolder() const;

    /// Opens the file once for several input streams, each of which would else open it for itself. The
    /// descriptor is closed with the last copy of the result and the last stream made of one.
    /// @return the file with a descriptor, for streams and Size. @throws file_exception
    File Opened() const;

    /// @return the path as it was given.
    const UTF8String& Path() const { return mPath; }
    /// @return where the file lives.
    StorageType Storage() const { return mStorageType; }

private:
    friend class IPlatformByteStream;
    friend class OPlatformByteStream;

    UTF8String mPath;
    StorageType mStorageType = kPathStorage;
    std::shared_ptr<const OpenFile> mOpenFile;    ///< null unless from Opened
    std::shared_ptr<const OpenFile> mCreatedFile; ///< null unless from Created
};

/// Input with a position. Hosts may derive from it.
class KELCORE_EXPORT IByteStream {
public:
    /// Delivers all bytes and moves the position behind them, or throws and leaves the position.
    virtual void ReadBlock(void* outBytes, unsigned inCount) = 0;
    /// Moves to an absolute position, in bytes. A position past the end is found out by the next read.
    virtual void CurPos(std::uint64_t inPosition) = 0;
    /// @return the position.
    virtual std::uint64_t CurPos() const = 0;
    /// @return the total length in bytes.
    virtual std::uint64_t Length() const = 0;

    virtual ~IByteStream();
};

/// Output with a position. Hosts may derive from it.
class KELCORE_EXPORT OByteStream {
public:
    /// Writes all bytes and moves the position past them, or throws. The position is then past those bytes
    /// that were written, or where it was if the stream does not know.
    virtual void WriteBlock(const void* inBytes, unsigned inCount) = 0;
    /// Moves to an absolute position, in bytes; past the end, a later write leaves a gap of zeros.
    virtual void CurPos(std::uint64_t inPosition) = 0;
    /// @return the position.
    virtual std::uint64_t CurPos() const = 0;
    /// @return the total length in bytes.
    virtual std::uint64_t Length() const = 0;

    virtual ~OByteStream();
};

/// Reads a file with positioned calls. Setting the position costs no system call. Small reads are served from
/// a window of the file that grows while they go forward, large ones go straight to the caller's memory; so
/// the file must not change while the stream is in use. Reads need not be aligned.
class KELCORE_EXPORT IPlatformByteStream : public IByteStream {
public:
    /// Opens the file, unless it was opened already.
    /// @param inFile  where it is; copied.
    /// @param inFlags  0, or 1 for a caller's stream flag; all streams work alike.
    /// @throws file_exception
    IPlatformByteStream(const File& inFile, utility::Flags<unsigned> inFlags);
    ~IPlatformByteStream() override;
    IPlatformByteStream(const IPlatformByteStream&) = delete;
    IPlatformByteStream& operator=(const IPlatformByteStream&) = delete;

    void ReadBlock(void* outBytes, unsigned inCount) override;
    void CurPos(std::uint64_t inPosition) override { mPosition = inPosition; }
    std::uint64_t CurPos() const override { return mPosition; }
    std::uint64_t Length() const override;

    /// Counts the zero bytes from the position on; the position stays. Reads no further than needed, and no
    /// long hole of a sparse file where the system reports it.
    /// @param inLimit  where to stop counting.
    /// @return the count, at most inLimit. The end of the file ends the count.
    /// @throws file_exception
    std::uint64_t CountZeroBytes(std::uint64_t inLimit);

private:
    /// Makes the window begin at a position; it holds at least one byte unless that is at or past the end.
    void FillWindow(std::uint64_t inPosition);
    bool InWindow(std::uint64_t inPosition) const {
        return inPosition >= mWindowStart && inPosition - mWindowStart < mWindowCount;
    }

    std::shared_ptr<const OpenFile> mFile;
    std::uint64_t mPosition = 0;
    std::unique_ptr<unsigned char[]> mWindow;
    std::uint64_t mWindowStart = 0;
    unsigned mWindowCapacity = 0;
    unsigned mWindowCount = 0;
};

/// Writes a file with positioned calls. Setting the position costs no system call.
class KELCORE_EXPORT OPlatformByteStream : public OByteStream {
public:
    /// Opens a file that exists, unless the descriptor of File::Created is there; nothing of it is removed.
    /// @param inFile  where it is; copied.
    /// @param inFlags  0, or 1 for a caller's stream flag; all streams work alike.
    /// @throws file_exception
    OPlatformByteStream(const File& inFile, utility::Flags<unsigned> inFlags);
    ~OPlatformByteStream() override;
    OPlatformByteStream(const OPlatformByteStream&) = delete;
    OPlatformByteStream& operator=(const OPlatformByteStream&) = delete;

    void WriteBlock(const void* inBytes, unsigned inCount) override;
    void CurPos(std::uint64_t inPosition) override { mPosition = inPosition; }
    std::uint64_t CurPos() const override { return mPosition; }
    std::uint64_t Length() const override;

    /// Cuts the file off, or lets it end in zeros. The position stays.
    /// @throws file_exception
    void SetLength(std::uint64_t inLength);

    /// Brings everything written so far to the device, with the length that it needs; the first time also all
    /// else that the system keeps about the file, and its name in its folder, which must be readable.
    ///
    /// A sync of the file that fails does so for good: the system may have dropped what it could not write,
    /// and would not say so again. Then this call throws each time, for the same reason.
    /// @throws file_exception
    void Sync();

private:
    std::shared_ptr<const OpenFile> mFile;
    std::uint64_t mPosition = 0;
};

/// Gathers small writes to another stream. Blocks that fill the buffer by themselves are handed straight
/// through. A write either takes its whole block or throws and takes none of it, and what waited before still
/// waits as far as it could not be delivered; so the same block can be offered again.
class KELCORE_EXPORT OBufferedByteStream : public OByteStream {
public:
    /// Starts at the wrapped stream's position.
    /// @param inStream  the stream to write to, which must live longer than this one.
    /// @param inCapacity  bytes that may wait, 32768.
    /// @param inAlignment  of the buffer's address, 4096.
    OBufferedByteStream(OByteStream& inStream, unsigned inCapacity, unsigned inAlignment);

    /// Delivers what waits. A failure to do so is lost here: call Flush before, where it matters.
    ~OBufferedByteStream() override;
    OBufferedByteStream(const OBufferedByteStream&) = delete;
    OBufferedByteStream& operator=(const OBufferedByteStream&) = delete;

    void WriteBlock(const void* inBytes, unsigned inCount) override;
    /// Delivers what waits, unless the position is where it was.
    void CurPos(std::uint64_t inPosition) override;
    std::uint64_t CurPos() const override { return mBufferStart + mWaiting; }
    /// @return the length of the wrapped stream, or the position where what waits ends if that is further on.
    std::uint64_t Length() const override;

    /// Delivers what waits; after an exception the rest of it still waits.
    void Flush();

    /// Delivers what waits, and brings the wrapped stream's file to the device.
    /// @param ioWrapped  the wrapped stream.
    /// @throws file_exception, also again after a sync that failed: see OPlatformByteStream::Sync
    void Sync(OPlatformByteStream& ioWrapped);

    /// Delivers what waits and from now on hands every block straight through, so that a block that was taken
    /// has reached the wrapped stream. @throws what the wrapped stream throws; then nothing has changed
    void StopGathering();

    /// @return how many bytes wait. They are the last ones before the position.
    unsigned Waiting() const { return mWaiting; }

    /// Removes what blocks that were not taken have left past all that was taken. Without such a block, makes
    /// no system call.
    /// @param ioWrapped  the wrapped stream, on a file that was empty when this one was made.
    /// @throws file_exception; then it may be called again.
    void RemoveFailedWrites(OPlatformByteStream& ioWrapped);

private:
    void Delivered(unsigned inCount);
    void WriteThrough(const void* inBytes, unsigned inCount);

    struct AlignedDelete {
        unsigned alignment;
        void operator()(unsigned char* inMemory) const noexcept;
    };

    OByteStream& mStream;
    std::unique_ptr<unsigned char[], AlignedDelete> mBuffer;
    std::uint64_t mBufferStart;
    std::uint64_t mEnd = 0;         ///< the furthest position where delivered bytes that were taken end
    std::uint64_t mEndOfFailed = 0; ///< the same for bytes of blocks that were not taken
    unsigned mCapacity;
    unsigned mWaiting = 0;
};

} // namespace kelcore::filesupport

namespace kelcore::utility {

/// Questions about paths.
class KELCORE_EXPORT FileUtils {
public:
    /// As File::Exists.
    static bool FileExists(const UTF8String& inPath);
};

} // namespace kelcore::utility
