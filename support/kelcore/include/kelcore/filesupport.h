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

/// @addtogroup support
/// @{

/// Where a file is stored. There is one kind: a path of the operating system.
enum StorageType : std::uint32_t { kPathStorage = 0 };

/// The exception of streams and files. Its message names the operation, the path and the system's reason.
class KELCORE_EXPORT file_exception : public config::kel_exception {
public:
    /// @param inOperation  what could not be done, as a verb: "read".
    /// @param inPath  the file concerned.
    /// @param inSystemError  the system's error number; 0 for the end of the file.
    file_exception(std::string_view inOperation, const UTF8String& inPath, int inSystemError);
    /// Copying does not throw.
    file_exception(const file_exception&) noexcept = default;
    /// Copying does not throw.
    file_exception& operator=(const file_exception&) noexcept = default;
    ~file_exception() override;

    /// Returns the system's error number, an errno value; 0 for the end of the file.
    int SystemError() const { return mSystemError; }

private:
    int mSystemError;
};

/// @name The reason of a failure
/// Many operations report a failure only by a code or false, although the layers below threw a
/// file_exception. Like errno for system calls, these functions give access to the reason of the latest
/// file_exception on the calling thread.
/// @{

inline constexpr int kNoFailure = -1; ///< no file_exception since ForgetFailure

/// Forgets earlier failures. Call it before an operation whose reason of failure is of interest.
void ForgetFailure() noexcept;
/// Returns SystemError() of this thread's latest file_exception, or kNoFailure.
int LatestFailure() noexcept;
/// @}

/// An open descriptor with its path; closes on destruction.
class OpenFile;

/// A path handle, passed by value. It holds no descriptor unless it comes from Opened or Created; every
/// operation that these two do not mention uses the path and asks the system anew.
class KELCORE_EXPORT File {
public:
    /// Names no file: Exists gives false, and every other operation fails.
    File() = default;
    /// Keeps the path without asking the system.
    File(const UTF8String& inPath, StorageType inStorageType) : mPath(inPath), mStorageType(inStorageType) {}

    /// Returns whether the path names a regular file, following symbolic links. Devices, pipes and folders do
    /// not count, nor does a file whose status cannot be determined. Does not throw for any path.
    bool Exists() const;

    /// Returns the size in bytes. @throws file_exception
    std::uint64_t Size() const;

    /// Creates an empty file.
    /// @param inReplace  false: an existing file is left alone, and the call fails. true: an
    ///        existing file is emptied.
    /// @throws file_exception
    void Create(bool inReplace) const;

    /// Creates an empty file like Create(false), and keeps it open: an output stream constructed from the
    /// result writes to that very file, even if the path has come to name another. The descriptor is closed
    /// together with the last copy of the result and the last stream made from one.
    /// @return the file with a descriptor, for an output stream, Size and Exists. @throws file_exception
    File Created() const;

    /// Returns whether the file comes from Created.
    bool IsCreated() const { return mCreatedFile != nullptr; }

    /// Deletes the file; if it is a symbolic link, the link. @throws file_exception
    void Delete() const;

    /// Renames the file, replacing an existing file of the new name. Streams that have
    /// either file open keep it.
    /// @throws file_exception
    void MoveTo(const UTF8String& inNewPath) const;

    /// Syncs the entries of the file's folder to the device, so that the name survives a power failure. The
    /// folder must be readable.
    /// @throws file_exception
    void SyncFolder() const;

    /// Opens the file once, so that several input streams can share the descriptor. The descriptor is closed
    /// together with the last copy of the result and the last stream made from one.
    /// @return the file with a descriptor, for streams and Size. @throws file_exception
    File Opened() const;

    /// Returns the path as it was given.
    const UTF8String& Path() const { return mPath; }
    /// Returns where the file is stored.
    StorageType Storage() const { return mStorageType; }

private:
    friend class IPlatformByteStream;
    friend class OPlatformByteStream;

    UTF8String mPath;
    StorageType mStorageType = kPathStorage;
    std::shared_ptr<const OpenFile> mOpenFile;    ///< null unless the file comes from Opened
    std::shared_ptr<const OpenFile> mCreatedFile; ///< null unless the file comes from Created
};

/// An input stream with a position. Hosts may derive from it.
class KELCORE_EXPORT IByteStream {
public:
    /// Reads all bytes and moves the position past them, or throws and leaves the position unchanged.
    virtual void ReadBlock(void* outBytes, unsigned inCount) = 0;
    /// Moves to an absolute position, in bytes. A position past the end is detected by the next read.
    virtual void CurPos(std::uint64_t inPosition) = 0;
    /// Returns the position.
    virtual std::uint64_t CurPos() const = 0;
    /// Returns the total length in bytes.
    virtual std::uint64_t Length() const = 0;

    virtual ~IByteStream();
};

/// An output stream with a position. Hosts may derive from it.
class KELCORE_EXPORT OByteStream {
public:
    /// Writes all bytes and moves the position past them, or throws. After an exception the position is past
    /// the bytes that were written, or unchanged if the stream does not know.
    virtual void WriteBlock(const void* inBytes, unsigned inCount) = 0;
    /// Moves to an absolute position, in bytes. After a move past the end, a write leaves a gap of zeros.
    virtual void CurPos(std::uint64_t inPosition) = 0;
    /// Returns the position.
    virtual std::uint64_t CurPos() const = 0;
    /// Returns the total length in bytes.
    virtual std::uint64_t Length() const = 0;

    virtual ~OByteStream();
};

/// Reads a file with positioned calls. Setting the position costs no system call. Small reads are served from
/// a window of the file, which holds only what was asked for after a jump and grows while reading proceeds
/// forward; large reads go directly to the caller's memory. The file must therefore not change while the
/// stream is in use. Reads need no alignment.
class KELCORE_EXPORT IPlatformByteStream : public IByteStream {
public:
    /// Opens the file, unless it is already open.
    /// @param inFile  the file; copied.
    /// @param inFlags  0, or 1 for a caller's stream flag; without effect.
    /// @throws file_exception
    IPlatformByteStream(const File& inFile, utility::Flags<unsigned> inFlags);
    ~IPlatformByteStream() override;
    IPlatformByteStream(const IPlatformByteStream&) = delete;
    IPlatformByteStream& operator=(const IPlatformByteStream&) = delete;

    void ReadBlock(void* outBytes, unsigned inCount) override;
    void CurPos(std::uint64_t inPosition) override { mPosition = inPosition; }
    std::uint64_t CurPos() const override { return mPosition; }
    std::uint64_t Length() const override;

    /// Counts the zero bytes that follow the position, which stays. Reads no further than necessary, and
    /// skips long holes of a sparse file if the system reports them.
    /// @param inLimit  where to stop counting.
    /// @return the count, at most inLimit; the end of the file ends the count.
    /// @throws file_exception
    std::uint64_t CountZeroBytes(std::uint64_t inLimit);

private:
    /// Makes the window begin at a position. It then holds at least one byte, unless the position is at or
    /// past the end.
    /// @param inJumpCount  how many bytes to read if the position is a jump.
    void FillWindow(std::uint64_t inPosition, unsigned inJumpCount);
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
    /// Opens an existing file, or uses the descriptor of File::Created; nothing is removed from the file.
    /// @param inFile  the file; copied.
    /// @param inFlags  0, or 1 for a caller's stream flag; without effect.
    /// @throws file_exception
    OPlatformByteStream(const File& inFile, utility::Flags<unsigned> inFlags);
    ~OPlatformByteStream() override;
    OPlatformByteStream(const OPlatformByteStream&) = delete;
    OPlatformByteStream& operator=(const OPlatformByteStream&) = delete;

    void WriteBlock(const void* inBytes, unsigned inCount) override;
    void CurPos(std::uint64_t inPosition) override { mPosition = inPosition; }
    std::uint64_t CurPos() const override { return mPosition; }
    std::uint64_t Length() const override;

    /// Truncates the file, or extends it with zeros. The position stays.
    /// @throws file_exception
    void SetLength(std::uint64_t inLength);

    /// Syncs everything written so far to the device, with the length that it needs; the first time also all
    /// other metadata of the file, and its name in its folder, which must be readable.
    ///
    /// A failed sync of the file is permanent: the system may have dropped what it could not write, and would
    /// not report that again. From then on, this call throws each time, for the same reason.
    /// @throws file_exception
    void Sync();

private:
    std::shared_ptr<const OpenFile> mFile;
    std::uint64_t mPosition = 0;
};

/// Buffers small writes to another stream. Blocks as large as the buffer are passed through directly. A write
/// either accepts its whole block, or throws and accepts none of it; earlier bytes that could not be written
/// stay in the buffer. So the same block can be written again.
class KELCORE_EXPORT OBufferedByteStream : public OByteStream {
public:
    /// Starts at the position of the wrapped stream.
    /// @param inStream  the stream to write to, which must outlive this one.
    /// @param inCapacity  the size of the buffer in bytes, 32768.
    /// @param inAlignment  the alignment of the buffer, 4096.
    OBufferedByteStream(OByteStream& inStream, unsigned inCapacity, unsigned inAlignment);

    /// Flushes the buffer and ignores failures; where they matter, call Flush first.
    ~OBufferedByteStream() override;
    OBufferedByteStream(const OBufferedByteStream&) = delete;
    OBufferedByteStream& operator=(const OBufferedByteStream&) = delete;

    void WriteBlock(const void* inBytes, unsigned inCount) override;
    /// Flushes the buffer, unless the position does not change.
    void CurPos(std::uint64_t inPosition) override;
    std::uint64_t CurPos() const override { return mBufferStart + mWaiting; }
    /// Returns the length of the wrapped stream, or the end of the buffered bytes if that is larger.
    std::uint64_t Length() const override;

    /// Writes out the buffer. After an exception, the bytes that were not written stay in the buffer.
    void Flush();

    /// Flushes the buffer, and syncs the wrapped stream's file to the device.
    /// @param ioWrapped  the wrapped stream.
    /// @throws file_exception, and again after a sync that failed: see OPlatformByteStream::Sync.
    void Sync(OPlatformByteStream& ioWrapped);

    /// Flushes the buffer and from now on passes every block through, so that each accepted block has reached
    /// the wrapped stream. @throws what the wrapped stream throws, in which case nothing has changed.
    void StopGathering();

    /// Returns the number of buffered bytes. They are the last ones before the position.
    unsigned Waiting() const { return mWaiting; }

    /// Removes what blocks that were not accepted have left past the end of everything that was. Makes no
    /// system call if there was no such block.
    /// @param ioWrapped  the wrapped stream, on a file that was empty when this stream was made.
    /// @throws file_exception, after which it may be called again.
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
    std::uint64_t mEnd = 0;         ///< the furthest end of accepted bytes that were written
    std::uint64_t mEndOfFailed = 0; ///< the furthest end of bytes of blocks that were not accepted
    unsigned mCapacity;
    unsigned mWaiting = 0;
};

/// @}

} // namespace kelcore::filesupport

namespace kelcore::utility {

/// @addtogroup support
/// @{

/// Queries about paths.
class KELCORE_EXPORT FileUtils {
public:
    /// Like File::Exists.
    static bool FileExists(const UTF8String& inPath);
};

/// @}

} // namespace kelcore::utility
