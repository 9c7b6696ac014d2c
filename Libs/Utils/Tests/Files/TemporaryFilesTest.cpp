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

/// Starts without any of the variables, and leaves none.
class TemporaryFiles : public testing::Test {
protected:
    TemporaryFiles() { unsetAll(); }
    ~TemporaryFiles() override { unsetAll(); }

    /// What a new process reports about these calls, each message and result with a '|'.
    std::string report(const Texts& calls) const {
        std::string command = zaFile::quoteArgument(ZA_TEMPORARY_FILE_PROBE);
        command += ' ' + zaFile::quoteArgument(folder.path("report"));
        for (const std::string& call : calls)
            command += ' ' + zaFile::quoteArgument(call);
        return zaFile::execute(command, true) ? folder.content("report") : "no report";
    }
    /// Makes this folder the system's temporary path, on either host.
    static void setSystemPath(const std::string& path) {
        setTestVariable("TMP", path);
        setTestVariable("TMPDIR", zaFile::convertToUnixSeparators(path));
    }
    void makeFolder(const std::string& name) const {
        std::filesystem::create_directories(folder.native(name));
    }
    static std::string info(const std::string& directory) {
        return "I ZARN_TMP_DIR = '" + directory + "'|";
    }
    static std::string warning(const std::string& directory) {
        return "W Couldn't create tmp directory '" + directory + "'|";
    }

    const ScratchFolder folder;

private:
    static void unsetAll() {
        for (const char* name :
             {"ZARN_TMP_DIR", "ZARN_FILEIO_TMP_DIR", "ZARN_ROOT", "TMP", "TMPDIR"})
            unsetTestVariable(name);
    }
};

TEST_F(TemporaryFiles, AUsersDirectoryWinsAndIsCreated) {
    const std::string users = folder.path("users own");
    setTestVariable("ZARN_TMP_DIR", users);
    setSystemPath(folder.path());
    EXPECT_EQ(report({"name", "tmp", "name", "tmp"}),
              "= |" + info(users) + "= " + users + "|= ZARN_TMP_DIR|= " + users + "|");
    EXPECT_TRUE(folder.has("users own"));
    EXPECT_FALSE(folder.has("zarn"));
    EXPECT_EQ(report({"tmp"}), info(users) + "= " + users + "|");

    // One that cannot be created is kept, with a warning; a file of that name is none.
    const std::string missing = folder.path("missing\\below");
    const std::string file = folder.make("file", "");
    for (const std::string& bad : {missing, file}) {
        setTestVariable("ZARN_TMP_DIR", bad);
        EXPECT_EQ(report({"tmp"}), warning(bad) + info(bad) + "= " + bad + "|");
    }
}

TEST_F(TemporaryFiles, LieBelowTheSystemsPathOtherwise) {
    setSystemPath(folder.path());
    const std::string chosen = folder.path("zarn");
    EXPECT_EQ(report({"init=", "tmp", "variable", "init=other", "init=", "tmp"}),
              "W zaFile::initTmpDir: dirname is empty.\n|" + info(chosen) + "= " + chosen +
                  "|= " + chosen + "|W zaFile::initTmpDir: dirname is empty.\n|= " + chosen + "|");
    EXPECT_TRUE(folder.has("zarn"));
    EXPECT_FALSE(folder.has("other"));
    const std::string other = folder.path(u8"ändern");
    EXPECT_EQ(report({u8"init=ändern", "tmp"}), info(other) + "= " + other + "|");
}

TEST_F(TemporaryFiles, FallBackToTheInstallation) {
    setSystemPath(folder.path());
    folder.make("zarn", "a file in the way");
    const std::string first = folder.path("zarn");
    const std::string last = folder.path("root\\tmp");
    setTestVariable("ZARN_ROOT", folder.path("root"));
    EXPECT_EQ(report({"tmp"}), warning(first) + warning(last) + info(last) + "= " + last + "|");
    makeFolder("root");
    for (int i = 0; i < 2; ++i) {  // created first, found then
        EXPECT_EQ(report({"tmp"}), warning(first) + info(last) + "= " + last + "|");
        EXPECT_TRUE(folder.has("root/tmp"));
    }
    unsetTestVariable("ZARN_ROOT");
    EXPECT_EQ(report({"init=zarn"}),
              warning(first) +
                  "E expandFilename: couldn't expand env.var ZARN_ROOT! Path: $ZARN_ROOT\\tmp|" +
                  warning("$ZARN_ROOT\\tmp") + info("$ZARN_ROOT\\tmp"));
}

TEST_F(TemporaryFiles, AreNowhereOnceTheVariableIsGone) {
    setTestVariable("ZARN_TMP_DIR", folder.path());
    const std::string none = "I zaFile::getTmpDir: Couldn't get tmp dir!|";
    EXPECT_EQ(report({"init=zarn", "unset", "tmp", "teamcenter"}),
              info(folder.path()) + none + "= |" + none +
                  "W zaFile::getTeamcenterTmpDir : Couldn't get base tmp dir!|= |");
}

TEST_F(TemporaryFiles, HaveAPlaceForTeamcenter) {
    setTestVariable("ZARN_TMP_DIR", folder.path());
    const std::string directory = folder.path("teamcenter");
    EXPECT_EQ(report({"teamcenter", "teamcenter"}),
              info(folder.path()) + "= " + directory + "|= " + directory + "|");
    EXPECT_TRUE(std::filesystem::is_directory(folder.native("teamcenter")));
    std::filesystem::remove(folder.native("teamcenter"));
    folder.make("teamcenter", "a file in the way");
    EXPECT_EQ(report({"teamcenter"}),
              info(folder.path()) +
                  "W zaFile::getTeamcenterTmpDir : Couldn't create teamcenter tmp dir!|= " +
                  folder.path() + "|");
}

TEST_F(TemporaryFiles, OutputGoesToTheFirstDirectoryThatExists) {
    const LogCapture log;
    const Texts warnings{"W User defined temp path doesn't exist, using default temp path."};
    const auto outpath = [](const std::string& input, const std::string& extension = "") {
        LogCapture::messages().clear();
        return zaFile::getOutpath(input, extension);
    };
    EXPECT_EQ(outpath("C:\\in/a.b.dat"), "C:\\in\\a.b");
    EXPECT_EQ(outpath("a.dat", "png"), ".\\a.png");
    EXPECT_EQ(outpath("/a.dat", ".png"), "\\a.png");
    EXPECT_EQ(log.messages(), Texts{});

    setTestVariable("ZARN_FILEIO_TMP_DIR", folder.path("output"));
    EXPECT_EQ(outpath("in\\a.dat"), "in\\a");
    EXPECT_EQ(log.messages(), warnings);
    setTestVariable("ZARN_TMP_DIR", folder.path("missing\\below"));
    EXPECT_EQ(outpath("in\\a.dat"), "in\\a");
    setTestVariable("ZARN_TMP_DIR", folder.path("tmp"));
    EXPECT_EQ(outpath("in\\a.dat"), folder.path("tmp\\a"));
    EXPECT_EQ(log.messages(), warnings);
    EXPECT_TRUE(folder.has("tmp"));
    makeFolder("output");
    EXPECT_EQ(outpath(u8"in\\größe.dat", "x"), folder.path(u8"output\\größe.x"));
    EXPECT_EQ(log.messages(), Texts{});
}

TEST_F(TemporaryFiles, NamesAreFreeAndNeverGivenTwice) {
    makeFolder("other");
    const std::string start = folder.path("scratch ");
    const std::string name = zaFile::getTmpName(folder.path(), "scratch ");
    ASSERT_EQ(name.substr(0, start.size()), start);
    const int number = std::stoi(name.substr(start.size()));
    EXPECT_EQ(name, start + std::to_string(number));
    folder.make("scratch " + std::to_string(number + 1), "taken");
    makeFolder("scratch " + std::to_string(number + 2));
    EXPECT_EQ(zaFile::getTmpName(folder.path(), "scratch "), start + std::to_string(number + 3));
    EXPECT_EQ(zaFile::getTmpName(folder.path("other"), "x"),
              folder.path("other\\x" + std::to_string(number + 4)));

    const std::string withNul("scratch\0", 8);
    EXPECT_EQ(zaFile::getTmpName("", "x") + zaFile::getTmpName(folder.path(), ""), "");
    EXPECT_EQ(zaFile::getTmpName(withNul, "x") + zaFile::getTmpName(folder.path(), withNul), "");
    EXPECT_EQ(zaFile::getTmpName(folder.path("missing"), "x"),
              folder.path("missing\\x" + std::to_string(number + 5)));
}

TEST_F(TemporaryFiles, NamesAndDirectoryMayBeAskedForByManyThreads) {
    setTestVariable("ZARN_TMP_DIR", folder.path("shared"));
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kNames = 100;
    std::vector<Texts> names(kThreads);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (Texts& own : names) {
        threads.emplace_back([&own] {
            for (std::size_t i = 0; i < kNames; ++i)
                own.push_back(zaFile::getTmpName(zaFile::getTmpDir(), "x"));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::set<std::string> different;
    for (const Texts& own : names)
        different.insert(own.begin(), own.end());
    EXPECT_EQ(different.size(), kThreads * kNames);
    EXPECT_EQ(different.count(""), 0u);
}

TEST_F(TemporaryFiles, RegisteredOnesAreRemovedInTheirOrder) {
    const std::string first = folder.make("first", "");
    const std::string second = folder.make("second", "");
    const Texts registered{first, folder.path("missing"), second, second, folder.path(), ""};
    for (const std::string& path : registered)
        zaFile::addTmpFile(path);
    EXPECT_EQ(zaFile::_tmp_files, registered);
    {
        FaultyFileBackend faults;
        faults.failCall(1, EACCES);  // the first to be removed stays, without consequences
        zaFile::removeTmpFiles();
    }
    EXPECT_TRUE(folder.has("first"));
    EXPECT_FALSE(folder.has("second"));
    EXPECT_TRUE(zaFile::_tmp_files.empty());
}

TEST_F(TemporaryFiles, OneIsRemovedByItsNameAlone) {
    setTestVariable("ZARN_TMP_DIR", folder.path());
    zaFile::initTmpDir("zarn");
    folder.make(u8"größe", "");
    zaFile::addTmpFile(u8"größe");
    EXPECT_TRUE(zaFile::removeTmpFile(u8"C:\\elsewhere/größe"));
    EXPECT_FALSE(folder.has(u8"größe"));
    EXPECT_TRUE(zaFile::removeTmpFile("missing"));
    EXPECT_FALSE(zaFile::removeTmpFile(""));
    EXPECT_FALSE(zaFile::removeTmpFile("x\\"));  // the directory itself
    EXPECT_EQ(zaFile::_tmp_files, Texts{u8"größe"});
    zaFile::removeTmpFiles();
    unsetTestVariable("ZARN_TMP_DIR");
    EXPECT_FALSE(zaFile::removeTmpFile("missing"));
}

TEST_F(TemporaryFiles, ClearingIsAPlaceholder) {
    const LogCapture log;
    setTestVariable("ZARN_TMP_DIR", folder.path());
    folder.make("file", "");
    zaFile::clearTmpDir();
    EXPECT_EQ(log.messages(), Texts{"E zaFile::clearTmpDir: NOT IMPLEMENTED YET!"});
    EXPECT_TRUE(folder.has("file"));
}

}  // namespace
