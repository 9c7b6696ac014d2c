#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <thread>

#include "Support/FaultyFileBackend.h"
#include "Support/LogCapture.h"
#include "Support/ScratchFolder.h"
#include "Support/TestEnvironment.h"
#include "zaUtils/Files/zaFile.h"

namespace {

using Texts = std::vector<std::string>;

/// Starts without any of the variables, and leaves none. The system's temporary path is the scratch
/// folder for the processes that are started.
class TemporaryFiles : public testing::Test {
protected:
    TemporaryFiles() { unsetAll(); }
    ~TemporaryFiles() override { unsetAll(); }

    /// What a new process reports about these calls, each message and result with a '|'.
    std::string report(const std::string& calls) const {
        const TestVariable windows("TMP", folder.path());
        const TestVariable others("TMPDIR", folder.path());
        const std::string command = zaFile::quoteArgument(ZA_PROGRAM_PROBE) + " call " +
                                    zaFile::quoteArgument(folder.path("report")) + ' ' + calls;
        return zaFile::execute(command, true) ? folder.content("report") : "no report";
    }
    static std::string info(const std::string& directory) {
        return "I ZARN_TMP_DIR = '" + directory + "'|";
    }
    static std::string warning(const std::string& directory) {
        return "W Couldn't create tmp directory '" + directory + "'|";
    }
    static std::string result(const std::string& directory) { return "= " + directory + "|"; }

    const ScratchFolder folder;

private:
    static void unsetAll() {
        for (const char* name : {"ZARN_TMP_DIR", "ZARN_FILEIO_TMP_DIR", "ZARN_ROOT"})
            unsetTestVariable(name);
    }
};

TEST_F(TemporaryFiles, AUsersDirectoryWinsAndIsCreated) {
    const std::string users = folder.path("users own");
    setTestVariable("ZARN_TMP_DIR", users);
    for (int i = 0; i < 2; ++i) {  // created first, found then
        EXPECT_EQ(report("tmp init=zarn tmp"), info(users) + result(users) + result(users));
        EXPECT_TRUE(folder.has("users own"));
    }
    EXPECT_FALSE(folder.has("zarn"));
    // One that cannot be created is kept, with a warning; a file of that name is none.
    for (const std::string& bad : {folder.path("missing\\below"), folder.make("file", "")}) {
        setTestVariable("ZARN_TMP_DIR", bad);
        EXPECT_EQ(report("tmp"), warning(bad) + info(bad) + result(bad));
    }
}

TEST_F(TemporaryFiles, LieBelowTheSystemsPathOtherwise) {
    const std::string empty = "W zaFile::initTmpDir: dirname is empty.\n|";
    const std::string chosen = folder.path("zarn");
    EXPECT_EQ(report("init= tmp variable init=other tmp"),
              empty + info(chosen) + result(chosen) + chosen + "|" + result(chosen));
    EXPECT_TRUE(folder.has("zarn"));
    EXPECT_FALSE(folder.has("other"));
    EXPECT_EQ(report(u8"init=ändern"), info(folder.path(u8"ändern")));
}

TEST_F(TemporaryFiles, FallBackToTheInstallation) {
    folder.make("zarn", "a file in the way");
    const std::string first = warning(folder.path("zarn"));
    const std::string last = folder.path("root\\tmp");
    setTestVariable("ZARN_ROOT", folder.path("root"));
    EXPECT_EQ(report("tmp"), first + warning(last) + info(last) + result(last));
    ASSERT_TRUE(zaFile::createDir(folder.path("root")));
    EXPECT_EQ(report("tmp"), first + info(last) + result(last));
    EXPECT_TRUE(folder.has("root/tmp"));

    unsetTestVariable("ZARN_ROOT");
    const std::string raw = "$ZARN_ROOT\\tmp";
    EXPECT_EQ(report("init=zarn"),
              first + "E expandFilename: couldn't expand env.var ZARN_ROOT! Path: " + raw + "|" +
                  warning(raw) + info(raw));
}

TEST_F(TemporaryFiles, HaveAPlaceForTeamcenter) {
    setTestVariable("ZARN_TMP_DIR", folder.path());
    const std::string directory = folder.path("teamcenter");
    EXPECT_EQ(report("teamcenter teamcenter"),
              info(folder.path()) + result(directory) + result(directory));
    EXPECT_TRUE(std::filesystem::remove(folder.native("teamcenter")));
    folder.make("teamcenter", "a file in the way");
    const std::string warnings = "W zaFile::getTeamcenterTmpDir : Couldn't ";
    EXPECT_EQ(report("teamcenter"), info(folder.path()) + warnings + "create teamcenter tmp dir!|" +
                                        result(folder.path()));

    const std::string none = "I zaFile::getTmpDir: Couldn't get tmp dir!|";
    EXPECT_EQ(report("init=zarn unset tmp teamcenter"), info(folder.path()) + none + result("") +
                                                            none + warnings + "get base tmp dir!|" +
                                                            result(""));
}

TEST_F(TemporaryFiles, OutputGoesToTheFirstDirectoryThatExists) {
    const LogCapture log;
    const std::string warning = "W User defined temp path doesn't exist, using default temp path.";
    EXPECT_EQ(zaFile::getOutpath("C:\\in/a.b.dat", ""), "C:\\in\\a.b");
    EXPECT_EQ(zaFile::getOutpath("a.dat", "png"), ".\\a.png");
    EXPECT_EQ(zaFile::getOutpath("/a.dat", ".png"), "\\a.png");
    EXPECT_EQ(log.messages(), Texts{});

    setTestVariable("ZARN_FILEIO_TMP_DIR", folder.path("output"));
    EXPECT_EQ(zaFile::getOutpath("in\\a.dat", ""), "in\\a");
    setTestVariable("ZARN_TMP_DIR", folder.path("missing\\below"));
    EXPECT_EQ(zaFile::getOutpath("in\\a.dat", ""), "in\\a");
    setTestVariable("ZARN_TMP_DIR", folder.path("tmp"));
    EXPECT_EQ(zaFile::getOutpath("in\\a.dat", ""), folder.path("tmp\\a"));
    EXPECT_TRUE(folder.has("tmp"));
    ASSERT_TRUE(zaFile::createDir(folder.path("output")));
    EXPECT_EQ(zaFile::getOutpath(u8"in\\größe.dat", "x"), folder.path(u8"output\\größe.x"));
    EXPECT_EQ(log.messages(), Texts(3, warning));
}

TEST_F(TemporaryFiles, NamesAreFreeAndNeverGivenTwice) {
    const std::string start = folder.path("scratch ");
    const std::string name = zaFile::getTmpName(folder.path(), "scratch ");
    const int number = std::stoi(name.substr(start.size()));
    EXPECT_EQ(name, start + std::to_string(number));
    folder.make("scratch " + std::to_string(number + 1), "taken");
    EXPECT_EQ(zaFile::getTmpName(folder.path(), "scratch "), start + std::to_string(number + 2));
    EXPECT_EQ(zaFile::getTmpName("other", "x"), "other\\x" + std::to_string(number + 3));

    const std::string withNul("scratch\0", 8);
    EXPECT_EQ(zaFile::getTmpName("", "x") + zaFile::getTmpName(folder.path(), ""), "");
    EXPECT_EQ(zaFile::getTmpName(withNul, "x") + zaFile::getTmpName(folder.path(), withNul), "");
}

TEST_F(TemporaryFiles, NamesAndDirectoryMayBeAskedForByManyThreads) {
    setTestVariable("ZARN_TMP_DIR", folder.path("shared"));
    std::vector<Texts> names(4, Texts(100));
    std::vector<std::thread> threads;
    threads.reserve(names.size());
    for (Texts& own : names) {
        threads.emplace_back([&own] {
            for (std::string& name : own)
                name = zaFile::getTmpName(zaFile::getTmpDir(), "x");
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::set<std::string> different{""};
    for (const Texts& own : names)
        different.insert(own.begin(), own.end());
    EXPECT_EQ(different.size(), 401u);
}

TEST_F(TemporaryFiles, RegisteredOnesAreRemovedInTheirOrder) {
    const std::string second = folder.make("second", "");
    const Texts registered{folder.make("first", ""), folder.path("missing"), second, second, ""};
    for (const std::string& path : registered)
        zaFile::addTmpFile(path);
    EXPECT_EQ(zaFile::_tmp_files, registered);
    FaultyFileBackend faults;
    faults.failCall(1, EACCES);  // the first to be removed stays, without consequences
    zaFile::removeTmpFiles();
    EXPECT_TRUE(folder.has("first"));
    EXPECT_FALSE(folder.has("second"));
    EXPECT_TRUE(zaFile::_tmp_files.empty());
}

TEST_F(TemporaryFiles, OneIsRemovedByItsNameAlone) {
    setTestVariable("ZARN_TMP_DIR", folder.path());
    zaFile::initTmpDir("zarn");
    folder.make(u8"größe", "");
    EXPECT_TRUE(zaFile::removeTmpFile(u8"C:\\elsewhere/größe"));
    EXPECT_FALSE(folder.has(u8"größe"));
    EXPECT_TRUE(zaFile::removeTmpFile("missing"));
    EXPECT_FALSE(zaFile::removeTmpFile(""));
    EXPECT_FALSE(zaFile::removeTmpFile("x\\"));  // the directory itself
    const LogCapture log;
    zaFile::clearTmpDir();
    EXPECT_EQ(log.messages(), Texts{"E zaFile::clearTmpDir: NOT IMPLEMENTED YET!"});
    unsetTestVariable("ZARN_TMP_DIR");
    EXPECT_FALSE(zaFile::removeTmpFile("missing"));
}

}  // namespace
