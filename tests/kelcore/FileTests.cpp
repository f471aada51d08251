#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include "support/Faults.h"
#include "support/Files.h"

using namespace kelcore::filesupport;
using namespace testing_support;
using Flags = kelcore::utility::Flags<unsigned>;

TEST(File, ExistsForRegularFilesAlone) {
    const TemporaryFolder folder;
    WriteFile(folder.Path("file"), ToBytes("12345"));
    std::filesystem::create_directory(folder.Path("folder"));
    std::filesystem::create_symlink(folder.Path("file"), folder.Path("link"));
    ASSERT_EQ(::mkfifo(folder.Path("pipe").c_str(), 0600), 0);

    const struct {
        const char* name;
        bool exists;
    } kCases[] = {{"file", true},  {"link", true},     {"folder", false},
                  {"pipe", false}, {"nothing", false}, {"file/below", false}};
    for (const auto& row : kCases) {
        EXPECT_EQ(folder.File(row.name).Exists(), row.exists) << row.name;
        EXPECT_EQ(kelcore::utility::FileUtils::FileExists(folder.PathText(row.name)), row.exists) << row.name;
    }
    EXPECT_FALSE(File().Exists());
    const std::string cut = folder.Path("file").string() + std::string("\0x", 2);
    EXPECT_FALSE(File(kelcore::ToUTF8String(cut), kPathStorage).Exists())
        << "a zero byte must not cut the path";
    EXPECT_EQ(folder.File("link").Size(), 5u);
}

TEST(File, CreateKeepsOrReplaces) {
    const TemporaryFolder folder;
    folder.File("new").Create(false);
    EXPECT_EQ(folder.File("new").Size(), 0u);
    WriteFile(folder.Path("old"), ToBytes("abc"));
    EXPECT_THROW(folder.File("old").Create(false), file_exception);
    EXPECT_EQ(folder.File("old").Size(), 3u);
    folder.File("old").Create(true);
    EXPECT_EQ(folder.File("old").Size(), 0u);
    folder.File("old").Delete();
    EXPECT_FALSE(folder.File("old").Exists());
}

TEST(File, IsOpenedOnceForAllStreamsOfIt) {
    const TemporaryFolder folder;
    const faults::Scope scope;
    WriteFile(folder.Path("file"), ToBytes("12345"));
    std::optional<File> opened = folder.File("file").Opened();
    std::optional<IPlatformByteStream> first(std::in_place, *opened, Flags(0)),
        second(std::in_place, *opened, Flags(0));
    opened.reset();
    WriteFile(folder.Path("other"), ToBytes("67890"));
    std::filesystem::rename(folder.Path("other"), folder.Path("file"));
    char bytes[3];
    first->CurPos(1);
    first->ReadBlock(bytes, 1);
    second->ReadBlock(bytes + 1, 2);
    EXPECT_EQ(std::string(bytes, 3), "212") << "the file that was opened, each stream at a place of its own";
    first.reset();
    EXPECT_EQ(faults::SystemCalls().opens, 1u);
    EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 1);
    second.reset();
    EXPECT_EQ(faults::SystemCalls().OpenDescriptors(), 0);
    EXPECT_THROW(folder.File("nothing").Opened(), file_exception);
}

TEST(File, CreatedIsWrittenWhateverItsNameBecomes) {
    const TemporaryFolder folder;
    const faults::Scope scope;
    WriteFile(folder.Path("other"), ToBytes("old"));
    std::filesystem::create_symlink("other", folder.Path("link"));
    const File created = folder.File("file").Created();
    std::filesystem::rename(folder.Path("link"), folder.Path("file"));
    OPlatformByteStream(created, Flags(0)).WriteBlock("audio", 5);
    EXPECT_EQ(ReadFile(folder.Path("other")), ToBytes("old"));
    EXPECT_TRUE(created.Exists() && created.IsCreated() && created.Size() == 5);
    EXPECT_EQ(faults::SystemCalls().opens, 1u);
    EXPECT_THROW(folder.File("other").Created(), file_exception) << "never a file that exists";
}

TEST(File, FailuresNamePathOperationAndReason) {
    const TemporaryFolder folder;
    const auto expectMessage = [&](auto inCall, const char* inOperation, int inError) {
        try {
            inCall();
            ADD_FAILURE() << inOperation << " did not throw";
        } catch (const file_exception& exception) {
            const std::string message = exception.what();
            EXPECT_NE(message.find(inOperation), std::string::npos) << message;
            EXPECT_NE(message.find(folder.Path("nothing").string()), std::string::npos) << message;
            EXPECT_EQ(exception.SystemError(), inError);
        }
    };
    const File missing = folder.File("nothing");
    expectMessage([&] { missing.Size(); }, "size", ENOENT);
    expectMessage([&] { missing.Delete(); }, "delete", ENOENT);
    expectMessage([&] { IPlatformByteStream(missing, Flags(0)); }, "open", ENOENT);
    expectMessage([&] { OPlatformByteStream(missing, Flags(1)); }, "open", ENOENT);
}

// The holder of a lease, such as a file server, gets a signal and gives it up; until then an open waits.
TEST(File, ALeasedFileOpens) {
    const TemporaryFolder folder;
    WriteFile(folder.Path("file"), ToBytes("abc"));
    static int holder;
    holder = ::open(folder.Path("file").c_str(), O_RDWR | O_CLOEXEC);
    if (::fcntl(holder, F_SETLEASE, F_WRLCK) != 0)
        GTEST_SKIP() << "no leases here";
    const auto handler = std::signal(SIGIO, [](int) { ::fcntl(holder, F_SETLEASE, F_UNLCK); });
    IPlatformByteStream stream(folder.File("file"), Flags());
    std::signal(SIGIO, handler);
    ::close(holder);
    EXPECT_EQ(stream.Length(), 3u);
}

// A host that opens a pipe by mistake must get an error, not wait for ever.
TEST(File, PipesFailInsteadOfWaiting) {
    const TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.Path("pipe").c_str(), 0600), 0);
    EXPECT_THROW(OPlatformByteStream(folder.File("pipe"), Flags()), file_exception);
    IPlatformByteStream stream(folder.File("pipe"), Flags());
    char byte;
    EXPECT_THROW(stream.ReadBlock(&byte, 1), file_exception);
}
