#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>
#if !defined(_WIN32)
#include <unistd.h>
#endif

#include "support/Faults.h"
#include "support/Files.h"

using namespace kelcore::filesupport;
using namespace testing_support;
using namespace std::string_view_literals;
using Flags = kelcore::utility::Flags<unsigned>;

namespace {

constexpr std::string_view kCut("file\0x", 6); // would name "file" if it were cut at the zero byte

/// A stream positioned where no file extends to.
template <typename Stream>
Stream&& Far(Stream&& ioStream) {
    ioStream.CurPos(1ull << 63);
    return std::move(ioStream);
}

#if defined(_WIN32)
constexpr bool kHasPipesAndLinks = false; // with paths
#else
constexpr bool kHasPipesAndLinks = true;
#endif

/// A folder with one entry of each kind; calls are counted.
class Files : public testing::Test {
protected:
    Files() {
        WriteFile(mFolder.Path("file"), ToBytes("12345"));
        std::filesystem::create_directory(mFolder.Path("folder"));
#if defined(_WIN32)
        WriteFile(mFolder.Path("link"), ToBytes("12345"));
#else
        std::filesystem::create_symlink("file", mFolder.Path("link"));
        EXPECT_EQ(::mkfifo(mFolder.Path("pipe").c_str(), 0600), 0);
#endif
    }
    File At(std::string_view inName) const { return mFolder.File(inName); }
    void Rename(std::string_view inFrom, std::string_view inTo) const {
        At(inFrom).MoveTo(mFolder.PathText(inTo));
    }

    const TemporaryFolder mFolder;
    const faults::Scope mScope;
    const faults::System& mCalls = faults::SystemCalls();
};

} // namespace

TEST_F(Files, ExistIfTheyAreRegular) {
    for (const std::string_view name :
         {"file"sv, "link"sv, "folder"sv, "pipe"sv, "nothing"sv, "file/below"sv, kCut}) {
        const bool exists = name == "file" || name == "link";
        EXPECT_EQ(At(name).Exists(), exists) << name;
        EXPECT_EQ(kelcore::utility::FileUtils::FileExists(mFolder.PathText(name)), exists) << name;
    }
    EXPECT_FALSE(File().Exists());
}

// A pipe must fail too, and not wait for its other end.
TEST_F(Files, SayWhatFailedAndWhy) {
    using Call = void (*)(const File&);
    // clang-format off
    const Call size = [](const File& file) { file.Size(); };
    const Call remove = [](const File& file) { file.Delete(); };
    const Call create = [](const File& file) { file.Create(false); };
    const Call keep = [](const File& file) { file.Created(); };
    const Call write = [](const File& file) { OPlatformByteStream(file, Flags(1)).WriteBlock("x", 1); };
    const Call empty = [](const File& file) { file.Create(true); };
    const Call read = [](const File& file) { char byte; IPlatformByteStream(file, Flags(0)).ReadBlock(&byte, 1); };
    const Call readFar = [](const File& file) { char byte; Far(IPlatformByteStream(file, Flags(0))).ReadBlock(&byte, 1); };
    const Call writeFar = [](const File& file) { Far(OPlatformByteStream(file, Flags(1))).WriteBlock("x", 1); };
    const Call setLength = [](const File& file) { OPlatformByteStream(file, Flags(1)).SetLength(1ull << 63); };
    const Call move = [](const File& file) { file.MoveTo(kelcore::ToUTF8String("x")); };
    const Call moveToCut = [](const File& file) { file.MoveTo(kelcore::ToUTF8String(kCut)); };
    const Call sync = [](const File& file) { file.SyncFolder(); };
    const struct { std::string_view name; Call call; const char* operation; int error; } kRows[] = {
        {"nothing", size, "find the size of", ENOENT}, {"folder", size, "find the size of", EISDIR},
        {kCut, size, "find the size of", EINVAL}, {"nothing", remove, "delete", ENOENT},
        {"nothing", move, "rename", ENOENT}, {kCut, move, "rename", EINVAL}, {"nothing", moveToCut, "rename", EINVAL},
        {"nothing/x", sync, "bring to the device the folder of", ENOENT}, {kCut, remove, "delete", EINVAL}, {"file", create, "create", EEXIST}, {"link", keep, "create", EEXIST},
        {kCut, create, "create", EINVAL}, {"folder", empty, "create", EISDIR},
        {"nothing", read, "open", ENOENT}, {"folder", read, kHasPipesAndLinks ? "read" : "open", EISDIR}, {"pipe", read, "read", ESPIPE},
        {"nothing", write, "open", ENOENT}, {"pipe", write, "open", ENXIO}, {"file", writeFar, "write", EFBIG},
        {"file", setLength, "set the length of", EFBIG}, {"file", readFar, "read", 0},
    };
    // clang-format on
    for (const auto& row : kRows) {
        if (row.name == "pipe" && !kHasPipesAndLinks)
            continue;
        const std::string path = mFolder.Path(row.name == kCut ? "file\\0x" : row.name).string();
        const std::string why =
            row.error == 0 ? "the file ends too early" : std::generic_category().message(row.error);
        try {
            row.call(At(row.name));
            ADD_FAILURE() << row.operation << path;
        } catch (const file_exception& exception) {
            EXPECT_EQ(exception.what(), std::string("cannot ") + row.operation + " '" + path + "': " + why);
            EXPECT_EQ(exception.SystemError(), row.error);
        }
    }
    EXPECT_EQ(At("link").Size(), 5u) << "nothing that failed changed anything";
    At("file").Create(true);
    EXPECT_TRUE(At(kHasPipesAndLinks ? "link" : "file").Exists());
    EXPECT_EQ(At(kHasPipesAndLinks ? "link" : "file").Size(), 0u);
    At("file").Delete();
    EXPECT_FALSE(At("file").Exists());
    for (const char* const path : {"relative", "/root"})
        File(kelcore::ToUTF8String(path), kPathStorage).SyncFolder();
}

TEST_F(Files, AreWrittenAsCreatedWhateverTheirNamesBecome) {
    const File created = At("new").Created();
    Rename("link", "new");
    OPlatformByteStream(created, Flags(0)).WriteBlock("audio", 5);
    EXPECT_EQ(ReadFile(mFolder.Path("file")), ToBytes("12345"));
    EXPECT_TRUE(created.Exists() && created.IsCreated() && !At("file").IsCreated() && created.Size() == 5);
    EXPECT_EQ(mCalls.opens, 1u);
}

// The holder of a lease, such as a file server, receives a signal and gives the lease up;
// until then an open waits.
TEST_F(Files, OpenUnderALease) {
#if defined(_WIN32)
    GTEST_SKIP() << "no leases here";
#else
    static int holder;
    holder = ::open(mFolder.Path("file").c_str(), O_RDWR | O_CLOEXEC);
    if (::fcntl(holder, F_SETLEASE, F_WRLCK) != 0)
        GTEST_SKIP() << "no leases here";
    const auto handler = std::signal(SIGIO, [](int) { ::fcntl(holder, F_SETLEASE, F_UNLCK); });
    IPlatformByteStream stream(At("file"), Flags());
    std::signal(SIGIO, handler);
    ::close(holder);
    EXPECT_EQ(stream.Length(), 5u);
#endif
}
