#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>

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

/// A file in a folder of its own, and counts from 0 on.
class InputStream : public testing::Test {
protected:
    void Write(const Bytes& inContent) { WriteFile(mFolder.Path("file"), inContent); }

    const faults::Scope mScope;
    const TemporaryFolder mFolder;
    faults::System& mCalls = faults::SystemCalls();
};

/// With a buffer over it, as the library's writers have.
class OutputStream : public InputStream {
protected:
    OutputStream() { mCalls = {}; }

    const File mFile = [this] {
        mFolder.File("file").Create(false);
        return mFolder.File("file");
    }();
    OPlatformByteStream mPlatform{mFile, Flags(0)};
};

} // namespace

// Whatever mix of small, large, forward and backward reads, cut or interrupted by the system: the bytes are
// the file's.
TEST_F(InputStream, EveryReadGivesTheFilesBytes) {
    const Bytes content = Pattern(300'000);
    Write(content);
    Random random(1);
    for (const std::size_t largest : {std::size_t{1} << 30, std::size_t{1000}, std::size_t{7}}) {
        mCalls = {.largestTransfer = largest, .interrupt = largest < 5000};
        IPlatformByteStream stream(mFolder.File("file"), Flags(0));
        EXPECT_EQ(stream.Length(), content.size());
        std::uint64_t position = 0;
        for (int i = 0; i < 2000; ++i) {
            const unsigned count = random() % 10 == 0 ? random() % 9000 : random() % 40;
            position = random() % 4 == 0 ? random() % content.size() : position + random() % 5000;
            position = std::min<std::uint64_t>(position, content.size() - count);
            const auto expected = content.begin() + static_cast<std::ptrdiff_t>(position);
            const Bytes got = ReadAt(stream, position, count);
            ASSERT_TRUE(std::equal(got.begin(), got.end(), expected)) << count << " bytes at " << position;
            ASSERT_EQ(stream.CurPos(), position + count);
        }
    }
}

TEST_F(InputStream, ReadsPastTheEndThrowAndLeaveThePosition) {
    Write(Pattern(10'000));
    IPlatformByteStream stream(mFolder.File("file"), Flags(0));
    Bytes buffer(20'000);
    using Range = std::pair<std::uint64_t, unsigned>;
    for (const auto& [position, count] :
         {Range{9'999, 2}, {10'000, 1}, {0, 10'001}, {6'000, 4'096}, {~std::uint64_t{0}, 8}}) {
        stream.CurPos(position);
        EXPECT_THROW(stream.ReadBlock(buffer.data(), count), file_exception);
        EXPECT_EQ(stream.CurPos(), position);
        stream.CurPos(10'000);
        stream.ReadBlock(buffer.data(), 0);
    }
    EXPECT_EQ(ReadAt(stream, 9'999, 1), Bytes(1, Pattern(10'000).back()));
}

TEST_F(InputStream, CountsZeroBytes) {
    Bytes content(200'000);
    content[0] = 1;
    content[150'003] = 1;
    Write(content);
    const std::array<std::uint64_t, 3> kCases[] = {
        {0, 10, 0},        {1, 10, 10},     {1, 1'000'000, 150'002},
        {149'990, 14, 13}, {150'003, 5, 0}, {150'004, 1'000'000, 49'996},
        {200'000, 5, 0},   {199'999, 1, 1}, {5, 0, 0}};
    for (const auto& [position, limit, count] : kCases) {
        IPlatformByteStream stream(mFolder.File("file"), Flags(0));
        stream.CurPos(position);
        EXPECT_EQ(stream.CountZeroBytes(limit), count) << "at " << position;
        EXPECT_EQ(stream.CurPos(), position);
    }
}

TEST_F(InputStream, DescriptorsCloseOnExecAndOnDestruction) {
    mFolder.File("file").Create(false);
    {
        IPlatformByteStream in(mFolder.File("file"), Flags(0));
        OPlatformByteStream out(mFolder.File("file"), Flags(0));
        EXPECT_EQ(mCalls.OpenDescriptors(), 2);
        struct stat file = {}, opened = {};
        ASSERT_EQ(::stat(mFolder.Path("file").c_str(), &file), 0);
        int found = 0;
        for (int descriptor = 3; descriptor < 64; ++descriptor) {
            if (::fstat(descriptor, &opened) != 0 || opened.st_dev != file.st_dev ||
                opened.st_ino != file.st_ino)
                continue;
            ++found;
            EXPECT_TRUE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
        }
        EXPECT_EQ(found, 2);
    }
    EXPECT_EQ(mCalls.OpenDescriptors(), 0);
}

// Random writes through the buffer against a plain byte vector, with the wrapped stream moved in between.
TEST_F(OutputStream, BufferedWritesLandWhereTheyShould) {
    Bytes expected;
    {
        mCalls = {.largestTransfer = 5'000, .interrupt = true};
        OBufferedByteStream stream(mPlatform, 32'768, 4'096);
        const Bytes content = Pattern(50'000);
        Random random(3);
        std::size_t position = 0;
        for (int i = 0; i < 400; ++i) {
            if (random() % 8 == 0)
                stream.CurPos(position = random() % 200'000);
            if (random() % 8 == 0)
                mPlatform.CurPos(random());
            const unsigned count = random() % 16 == 0 ? random() % 50'000 : random() % 3'000;
            stream.WriteBlock(content.data(), count);
            if (count != 0)
                expected.resize(std::max<std::size_t>(expected.size(), position + count));
            std::copy_n(content.begin(), count, expected.begin() + static_cast<std::ptrdiff_t>(position));
            position += count;
            ASSERT_EQ(stream.CurPos(), position);
        }
        EXPECT_GE(stream.Length(), position);
    }
    EXPECT_EQ(ReadFile(mFolder.Path("file")), expected);
}

TEST_F(OutputStream, HoldsOneBufferAndHandsLargeBlocksThrough) {
    OBufferedByteStream stream(mPlatform, 32'768, 4'096);
    const Bytes block(40'000, 1);
    mCalls = {};

    stream.WriteBlock(block.data(), 32'767);
    stream.CurPos(32'767);
    EXPECT_EQ(mCalls.writes, 0u) << "a small block waits, also when told to stay";
    stream.WriteBlock(block.data(), 2);
    EXPECT_EQ(mCalls.bytesWritten, 32'767u);
    stream.CurPos(4);
    EXPECT_EQ(mCalls.bytesWritten, 32'769u) << "moving delivers what waits";
    stream.WriteBlock(block.data(), 32'768);
    EXPECT_EQ(mCalls.writes, 3u) << "a block that fills the buffer goes straight through";
    stream.WriteBlock(block.data(), 100);
    stream.WriteBlock(block.data(), 40'000);
    EXPECT_EQ(mCalls.writes, 5u);
    EXPECT_EQ(mCalls.calls, mCalls.writes) << "positions cost no call";
}

TEST_F(OutputStream, AFailedWriteTakesNothingAndCanBeRepeated) {
    const Bytes content = Pattern(60'000);
    {
        OBufferedByteStream stream(mPlatform, 32'768, 4'096);
        stream.WriteBlock(content.data(), 20'000);
        mCalls = {.failAt = 0, .mode = faults::System::Mode::kFailForGood, .error = ENOSPC};
        EXPECT_THROW(stream.WriteBlock(content.data() + 20'000, 20'000), file_exception);
        EXPECT_EQ(stream.CurPos(), 20'000u);
        EXPECT_THROW(stream.CurPos(5), file_exception);
        EXPECT_EQ(stream.CurPos(), 20'000u) << "the move did not happen, so nothing that waits is misplaced";
        mCalls = {};
        stream.WriteBlock(content.data() + 20'000, 40'000);
    }
    EXPECT_EQ(ReadFile(mFolder.Path("file")), content);
}

// A part is delivered. Of what waits, only the rest waits on; of a block that is not taken, nothing stays.
TEST_F(OutputStream, WritesThatFailHalfway) {
    const Bytes content = Pattern(70'000);
    const auto fails = [&](auto inCall) {
        mCalls = {.failAt = 1, .error = ENOSPC, .largestTransfer = 5'000};
        EXPECT_THROW(inCall(), file_exception);
        mCalls = {};
    };
    OBufferedByteStream stream(mPlatform, 32'768, 4'096);
    stream.WriteBlock(content.data(), 20'000);
    fails([&] { stream.Flush(); });
    EXPECT_TRUE(stream.Waiting() == 15'000 && stream.CurPos() == 20'000 && mPlatform.Length() == 5'000);
    stream.Flush();
    EXPECT_EQ(mCalls.bytesWritten, 15'000u);
    stream.CurPos(30'000);
    fails([&] { stream.WriteBlock(content.data(), 40'000); });
    EXPECT_TRUE(stream.Waiting() == 0 && stream.CurPos() == 30'000 && mPlatform.Length() == 35'000);
    fails([&] { mCalls.failAt = 0, stream.RemoveFailedWrites(mPlatform); });
    stream.RemoveFailedWrites(mPlatform);
    EXPECT_EQ(ReadFile(mFolder.Path("file")), Bytes(content.begin(), content.begin() + 20'000));
    fails([&] { stream.WriteBlock(content.data(), 40'000); });
    stream.WriteBlock(content.data(), 40'000);
    mCalls = {};
    stream.RemoveFailedWrites(mPlatform);
    EXPECT_EQ(mCalls.calls, 0u) << "what was taken covers it";
}
