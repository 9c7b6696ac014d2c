#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>

#include "Support/FaultyFileBackend.h"
#include "Support/LogCapture.h"
#include "Support/ScratchFolder.h"
#include "zaUtils/Files/zaFile.h"

// Every call that an operation makes into the system fails once, in each way.

namespace {

constexpr int kCodes[] = {ENOSPC, EACCES, EIO, EMFILE};

const std::string kSource(100000, 's');
const std::string kMark("\0ZARNCRC", 8);

enum class Outcome { Failed, Right, Wrong };

Outcome judge(bool reported, bool isRight) {
    return !reported ? Outcome::Failed : isRight ? Outcome::Right : Outcome::Wrong;
}

struct Operation {
    const char* name;
    /// Runs on a folder that holds "source", "target" and "checked". Judges what was reported by
    /// what came of it.
    std::function<Outcome(const ScratchFolder&)> run;
};

Outcome runQuietly(const Operation& operation, const ScratchFolder& folder) {
    testing::internal::CaptureStdout();
    const Outcome outcome = operation.run(folder);
    testing::internal::GetCapturedStdout();
    return outcome;
}

std::vector<Operation> operations() {
    using Folder = const ScratchFolder&;
    return {
        {"read string",
         [](Folder f) {
             std::string text;
             const bool reported = zaFile::read(f.path("source"), text);
             return judge(reported, text == kSource);
         }},
        {"read vector",
         [](Folder f) {
             std::vector<char> bytes;
             const bool reported = zaFile::read(f.path("source"), bytes);
             return judge(reported, bytes.size() == kSource.size());
         }},
        {"write",
         [](Folder f) {
             const bool reported = zaFile::write(f.path("target"), "new");
             return judge(reported, f.content("target") == "new");
         }},
        {"append",
         [](Folder f) {
             const bool reported = zaFile::append(f.path("target"), "new");
             return judge(reported, f.content("target") == "beforenew");
         }},
        {"remove",
         [](Folder f) {
             const bool reported = zaFile::remove(f.path("target"));
             return judge(reported, !f.has("target"));
         }},
        {"rename",
         [](Folder f) {
             const bool reported = zaFile::rename(f.path(), "target", "renamed");
             return judge(reported, f.content("renamed") == "before" && !f.has("target"));
         }},
        {"createPath",
         [](Folder f) {
             const bool reported = zaFile::createPath(f.path("a\\b\\c"));
             return judge(reported, f.has("a/b/c"));
         }},
        {"getFileSize",
         [](Folder f) {
             const std::uint64_t size = zaFile::getFileSize(f.path("source"));
             return judge(size != 0, size == kSource.size());
         }},
        {"checkRead",
         [](Folder f) { return judge(zaFile::checkRead(f.path("source"), false, true), true); }},
        {"checkWrite",
         [](Folder f) {
             const bool reported = zaFile::checkWrite(f.path("new"), false, true);
             return judge(reported, !f.has("new"));
         }},
        {"computeChecksum",
         [](Folder f) {
             unsigned int crc = 0;
             const bool reported = zaFile::computeChecksum(f.path("source"), 0, crc);
             return judge(reported, crc == zaFile::getID(kSource.data(), 100000));
         }},
        {"verifyChecksum",
         [](Folder f) {
             const auto state = zaFile::verifyChecksum(f.path("checked"), 0).state;
             return judge(state != zaFile::ChecksumState::Unreadable,
                          state == zaFile::ChecksumState::Incorrect);
         }},
        {"checkChecksum",
         [](Folder f) {
             unsigned int crc = 0;
             const bool isWrong = !zaFile::checkChecksum(f.path("checked"), crc, 0);
             return judge(isWrong, crc == 0);
         }},
        {"renewChecksum",
         [](Folder f) {
             const bool reported = zaFile::renewChecksum(f.path("checked"), 0);
             char digits[9];
             const unsigned int crc = zaFile::getID(kSource.data(), 100000);
             std::snprintf(digits, sizeof digits, "%08X", crc);
             return judge(reported, f.content("checked") == kSource + kMark + digits);
         }},
        {"removeChecksum",
         [](Folder f) {
             const bool reported = zaFile::removeChecksum(f.path("checked"), 0);
             return judge(reported, f.content("checked") == kSource);
         }},
    };
}

void prepare(const ScratchFolder& folder) {
    folder.make("source", kSource);
    folder.make("target", "before");
    folder.make("checked", kSource + kMark + "00000000");
}

TEST(FileFaults, NoFailingCallGoesUnreportedOrChangesAnotherFile) {
    for (const Operation& operation : operations()) {
        for (const int code : kCodes) {
            for (int call = 1;; ++call) {
                SCOPED_TRACE(std::string(operation.name) + ", call " + std::to_string(call) +
                             " fails with " + std::to_string(code));
                const ScratchFolder folder;
                prepare(folder);
                FaultyFileBackend backend;
                backend.failCall(call, code);
                const Outcome outcome = runQuietly(operation, folder);
                EXPECT_EQ(backend.openFiles(), 0);
                EXPECT_EQ(folder.content("source"), kSource);
                if (!backend.hasFailed()) {
                    EXPECT_EQ(outcome, Outcome::Right);
                    EXPECT_GT(call, 1);
                    break;
                }
                EXPECT_NE(outcome, Outcome::Wrong);
            }
        }
    }
}

TEST(FileFaults, ShortReadsAndWritesChangeNoResult) {
    for (const std::size_t bytes : {7u, 8192u}) {
        for (const Operation& operation : operations()) {
            SCOPED_TRACE(operation.name);
            const ScratchFolder folder;
            prepare(folder);
            FaultyFileBackend backend;
            backend.moveAtMost(bytes);
            EXPECT_EQ(runQuietly(operation, folder), Outcome::Right);
        }
    }
}

TEST(FileFaults, TheReasonStaysForPerror) {
    const ScratchFolder folder;
    prepare(folder);
    const LogCapture log;
    FaultyFileBackend backend;
    for (const int code : kCodes) {
        backend.failWrites(code);
        EXPECT_FALSE(zaFile::appendChecksum(folder.path("target"), 1));
        zaFile::perror("x");
        EXPECT_EQ(log.messages().back(), std::string("E x: ") + std::strerror(code));
    }
}

TEST(FileFaults, CopyDeliberatelyIgnoresAllButOpening) {
    for (int call = 1; call < 10; ++call) {
        const ScratchFolder folder;
        prepare(folder);
        FaultyFileBackend backend;
        backend.moveAtMost(50000);
        backend.failCall(call, EIO);
        EXPECT_EQ(zaFile::copy(folder.path("source"), folder.path("target")), call > 2) << call;
        EXPECT_EQ(backend.openFiles(), 0);
    }
    const ScratchFolder folder;
    prepare(folder);
    FaultyFileBackend backend;
    backend.failWrites(ENOSPC);
    EXPECT_TRUE(zaFile::copy(folder.path("source"), folder.path("target")));
    EXPECT_EQ(folder.content("target"), "");
}

TEST(FileFaults, AFileThatShrinksGivesWhatIsLeft) {
    const ScratchFolder folder;
    prepare(folder);
    FaultyFileBackend backend;
    backend.moveAtMost(1000);
    backend.endAtRead(4);
    std::string text;
    EXPECT_TRUE(zaFile::read(folder.path("source"), text));
    EXPECT_EQ(text, std::string(3000, 's'));
    EXPECT_FALSE(zaFile::read(folder.path("source"), text));
    EXPECT_EQ(text, "");
}

TEST(FileFaults, ReadErrorsMakeAChecksumUnreadable) {
    const ScratchFolder folder;
    prepare(folder);
    FaultyFileBackend backend;
    backend.failCall(6, EIO);  // open, end, footer (2), start, first chunk
    EXPECT_EQ(zaFile::verifyChecksum(folder.path("checked"), 0).state,
              zaFile::ChecksumState::Unreadable);
    EXPECT_TRUE(backend.hasFailed());
    backend.failCall(3, EIO);
    EXPECT_EQ(zaFile::getChecksum(folder.path("source"), 0), 0u);
}

}  // namespace
