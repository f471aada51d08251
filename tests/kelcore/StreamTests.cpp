#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fcntl.h>
#if !defined(_WIN32)
#include <unistd.h>
#endif

#include "support/Faults.h"
#include "support/Files.h"
#include "support/Random.h"

using namespace kelcore::filesupport;
using namespace testing_support;
using Flags = kelcore::utility::Flags<unsigned>;

namespace {

Bytes Pattern(std::size_t inCount) {
    Bytes bytes(inCount);
    Random random(7);
    for (auto& byte : bytes)
        byte = static_cast<unsigned char>(random() >> 8);
    return bytes;
}

Bytes ReadAt(IPlatformByteStream& ioStream, std::uint64_t inPosition, unsigned inCount) {
    Bytes bytes(inCount);
    ioStream.CurPos(inPosition);
    ioStream.ReadBlock(bytes.data(), inCount);
    return bytes;
}

/// A file in its own folder, with all counts starting at 0.
class InputStream : public testing::Test {
protected:
    const faults::Scope mScope;
    const TemporaryFolder mFolder;
    const File mFile = mFolder.File("file");
    faults::System& mCalls = faults::SystemCalls();
};

/// An empty file, and the stream to which buffers write.
class OutputStream : public InputStream {
protected:
    OutputStream() { mCalls = {}; }

    OPlatformByteStream mPlatform{mFile.Created(), Flags(0)};
};

} // namespace

// For any mix of small, large, forward and backward reads, split, interrupted, failed by the system or past
// the end, the bytes are those of the file, and a read that fails leaves the position unchanged.
TEST_F(InputStream, EveryReadGivesTheFilesBytes) {
    const Bytes content = Pattern(300'000);
    WriteFile(mFolder.Path("file"), content);
    Random random(1);
    for (const std::size_t largest : {std::size_t{1} << 30, std::size_t{1000}, std::size_t{7}}) {
        mCalls = {.largestTransfer = largest, .interrupt = largest < 5000};
        IPlatformByteStream stream(mFile, Flags(0));
        EXPECT_EQ(stream.Length(), content.size());
        std::uint64_t at = 0;
        for (int i = 0; i < 2000; ++i) {
            const unsigned count = random() % 10 == 0 ? random() % 9000 : random() % 40;
            at = random() % 4 == 0 ? random() % content.size() : (at + random() % 5000) % content.size();
            at = i % 100 == 0 ? ~std::uint64_t{0} - random() % 8 : at;
            const bool fits = at + count >= at && at + count <= content.size();
            mCalls.failAt = i % 8 == 0 ? mCalls.calls : faults::kNever;
            try {
                const Bytes got = ReadAt(stream, at, count);
                ASSERT_TRUE(count == 0 || fits);
                ASSERT_TRUE(count == 0 || std::equal(got.begin(), got.end(), &content[at]));
                ASSERT_EQ(stream.CurPos(), at + count);
            } catch (const file_exception&) {
                ASSERT_TRUE((mCalls.failAt != faults::kNever || !fits) && stream.CurPos() == at);
                at -= std::min<std::uint64_t>(at, random() % 9000); // back to what was in the window before
            }
        }
    }
}

TEST_F(InputStream, CountsZeroBytes) {
    WriteFile(mFolder.Path("file"), {1});
    PatchFile(mFolder.Path("file"), 150'003, {1});
    std::filesystem::resize_file(mFolder.Path("file"), 200'000);
    constexpr std::uint64_t kAll = 1 << 20;
    constexpr std::array<std::uint64_t, 3> kRows[] = {{0, 10, 0},         {1, 10, 10},
                                                      {1, kAll, 150'002}, {1, 9'000, 9'000},
                                                      {149'990, 14, 13},  {150'004, kAll, 49'996},
                                                      {200'000, 5, 0}};
    for (const bool findsHoles : {true, false})
        for (const auto& [position, limit, count] : kRows) {
            mCalls.findsHoles = findsHoles;
            IPlatformByteStream stream(mFile, Flags(0));
            stream.CurPos(position);
            EXPECT_EQ(stream.CountZeroBytes(limit), count) << "at " << position;
        }
}

TEST_F(InputStream, DescriptorsCloseOnExecAndOnDestruction) {
#if defined(_WIN32)
    GTEST_SKIP() << "no way to ask for the next descriptor here";
#else
    const int next = ::open("/dev/null", O_RDONLY); // the number that the streams will get
    ::close(next);
    const auto closes = [&](const auto&) { return ::fcntl(next, F_GETFD) == FD_CLOEXEC; };
    EXPECT_TRUE(closes(mFile.Created()));
    EXPECT_TRUE(closes(IPlatformByteStream(mFile, Flags(0))));
    EXPECT_TRUE(closes(OPlatformByteStream(mFile, Flags(0))));
    EXPECT_TRUE(mCalls.opens == 3 && mCalls.closes == 3);
#endif
}

// Compares random writes through the buffer with a plain byte vector, while the wrapped stream is moved in
// between. A failed write accepts nothing, and works when it is repeated.
TEST_F(OutputStream, BufferedWritesLandWhereTheyShould) {
    Bytes expected;
    {
        OBufferedByteStream stream(mPlatform, 32'768, 4'096);
        const Bytes content = Pattern(50'000);
        Random random(3);
        std::size_t position = 0;
        const auto repeat = [&](auto inCall) {
            mCalls = {.failAt = random() % 8, .error = ENOSPC, .largestTransfer = 5'000, .interrupt = true};
            try {
                inCall();
            } catch (const file_exception&) {
                ASSERT_EQ(stream.CurPos(), position);
                mCalls.failAt = faults::kNever;
                inCall();
            }
            mCalls.failAt = faults::kNever;
        };
        for (int i = 0; i < 400; ++i) {
            if (random() % 8 == 0) {
                const std::size_t next = random() % 200'000;
                repeat([&] { stream.CurPos(next); });
                position = next;
            }
            if (random() % 8 == 0)
                mPlatform.CurPos(random());
            const unsigned count = random() % 16 == 0 ? random() % 50'000 : random() % 3'000;
            repeat([&] { stream.WriteBlock(content.data(), count); });
            if (count != 0)
                expected.resize(std::max<std::size_t>(expected.size(), position + count));
            std::copy_n(content.begin(), count, expected.begin() + static_cast<std::ptrdiff_t>(position));
            position += count;
            ASSERT_EQ(stream.CurPos(), position);
            ASSERT_EQ(stream.Length(), expected.size());
        }
    }
    EXPECT_EQ(ReadFile(mFolder.Path("file")), expected);
}

TEST_F(OutputStream, SyncsWhatWaitsAndTheFolderOfAFileThatHasOne) {
    OBufferedByteStream stream(mPlatform, 32'768, 4'096);
    stream.WriteBlock("abc", 3);
    EXPECT_NO_THROW(stream.Sync(mPlatform));
    EXPECT_EQ(mPlatform.Length(), 3u);
    EXPECT_THROW(mFolder.File("none/file").SyncFolder(), kelcore::filesupport::file_exception);
}

TEST_F(OutputStream, HoldsOneBufferAndHandsLargeBlocksThrough) {
    OBufferedByteStream stream(mPlatform, 32'768, 4'096);
    const Bytes block(40'000, 1);
    mCalls = {};
    stream.WriteBlock(block.data(), 32'767);
    stream.CurPos(32'767);
    EXPECT_EQ(mCalls.writes, 0u) << "a small block is buffered, even after a move to the same place";
    stream.WriteBlock(block.data(), 2);
    EXPECT_EQ(mCalls.bytesWritten, 32'767u);
    stream.CurPos(4);
    EXPECT_EQ(mCalls.bytesWritten, 32'769u) << "moving flushes the buffer";
    stream.WriteBlock(block.data(), 32'768);
    EXPECT_EQ(mCalls.writes, 3u) << "a block that fills the buffer goes straight through";
    stream.WriteBlock(block.data(), 100);
    stream.WriteBlock(block.data(), 40'000);
    EXPECT_EQ(mCalls.writes, 5u);
    EXPECT_EQ(mCalls.calls, mCalls.writes) << "positions cost no call";
    stream.WriteBlock(block.data(), 20'000);
    mCalls = {};
    stream.StopGathering();
    stream.WriteBlock(block.data(), 1);
    EXPECT_EQ(mCalls.bytesWritten, 20'001u);
}
