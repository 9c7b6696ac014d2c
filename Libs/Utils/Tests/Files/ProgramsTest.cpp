#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "Support/ScratchFolder.h"
#include "Support/TestEnvironment.h"
#include "zaUtils/Files/zaFile.h"
#include "zaUtils/Os/CommandLine.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using Texts = std::vector<std::string>;

const Texts kTrickyArguments{"plain",   "",          " ",          "a b",       "tab\there",
                             "\"",      "say \"x\"", "back\\",     "the end\\", "\\\\server\\x y\\",
                             "\\\"",    "a\\\\\"b",  "'single'",   "*",         "$HOME %PATH%",
                             u8"größe", u8"日本 😀",  "-o=\"1 2\"", "^&|<>",     "line\nend"};

/// Where the build has put the probe, as the host writes it.
const std::filesystem::path& probePath() {
    static const auto path =
        std::filesystem::absolute(std::filesystem::u8path(ZA_PROGRAM_PROBE)).make_preferred();
    return path;
}

std::string commandLine(const Texts& arguments, const std::string& program) {
    std::string result = zaFile::quoteArgument(program);
    for (const std::string& argument : arguments)
        result += " " + zaFile::quoteArgument(argument);
    return result;
}

std::string probe(const Texts& arguments) {
    return commandLine(arguments, probePath().u8string());
}

/// As a command interpreter takes it, on both hosts.
std::string probeCommand(const std::string& task) {
    return '"' + probePath().u8string() + "\" " + task;
}

/// What the callbacks of one program tell.
struct Calls {
    std::vector<unsigned int> ids;
    bool onThisThread = true;
    Clock::time_point start = Clock::now();
    std::thread::id thread = std::this_thread::get_id();

    static void count(unsigned int id, void* userData) {
        auto& calls = *static_cast<Calls*>(userData);
        calls.ids.push_back(id);
        calls.onThisThread = calls.onThisThread && std::this_thread::get_id() == calls.thread;
    }
    /// Whether a slice of time (100 ms, and some tolerance) lay before each call.
    bool cameAfterTheirSlices() const {
        return ids.size() * milliseconds(90) <= Clock::now() - start;
    }
};

using Execute = bool (*)(const std::string&, bool, zaFile::ProgramCallback, void*);

class Programs : public testing::TestWithParam<Execute> {
protected:
    const Execute execute = GetParam();
    ScratchFolder folder;
};

INSTANTIATE_TEST_SUITE_P(Both, Programs, testing::Values(&zaFile::execute, &zaFile::executeW));

TEST_P(Programs, SucceedWhenTheyExitWithZero) {
    for (const Texts& task : {Texts{"exit", "0"}, Texts{"exit", "3"}, Texts{"terminate"}}) {
        Calls calls;
        EXPECT_EQ(execute(probe(task), true, Calls::count, &calls), task.back() == "0");
        EXPECT_TRUE(calls.cameAfterTheirSlices()) << calls.ids.size();
    }
    EXPECT_TRUE(execute(probe({"sleep", folder.path("id")}), true, nullptr, nullptr));
}

TEST_P(Programs, FailAtOnceWhenTheyCannotBeStarted) {
    const std::string text = folder.make("no program.txt", "not executable");
    for (const std::string& command :
         Texts{"", "   ", "\"\"", "\"", "there-is-no-such-program x", folder.path("missing"),
               zaFile::quoteArgument(text), zaFile::quoteArgument(folder.path())}) {
        SCOPED_TRACE(command);
        Calls calls;
        EXPECT_FALSE(execute(command, true, Calls::count, &calls));
        EXPECT_FALSE(execute(command, false, Calls::count, &calls));
        EXPECT_EQ(calls.ids.size(), 0u);
    }
}

TEST_P(Programs, AreReportedWhileTheyRun) {
    Calls calls;  // for about 350 ms
    EXPECT_TRUE(execute(probe({"sleep", folder.path("id")}), true, Calls::count, &calls));
    EXPECT_TRUE(calls.cameAfterTheirSlices());
    EXPECT_TRUE(calls.onThisThread);
    ASSERT_GE(calls.ids.size(), 1u);
    for (const unsigned int id : calls.ids)
        EXPECT_EQ(std::to_string(id), folder.content("id"));
}

TEST_P(Programs, OutliveTheirParent) {
    const std::string command = probe({"answer", folder.path("question"), folder.path("done")});
    ASSERT_TRUE(execute(probe({"start", command}), true, nullptr, nullptr));
    EXPECT_FALSE(folder.has("done"));
    folder.make("question", "");  // by now the parent has ended
    const auto end = Clock::now() + std::chrono::seconds(60);
    while (folder.content("done") != "done" && Clock::now() < end)
        std::this_thread::sleep_for(milliseconds(5));
    EXPECT_EQ(folder.content("done"), "done");
}

TEST_P(Programs, GetTheirArgumentsWhole) {
    const std::string name = u8"Prüf Programm 日本" + probePath().extension().u8string();
    const std::filesystem::path product = std::filesystem::u8path(ZA_PRODUCT_LIBRARY);
    std::filesystem::copy_file(probePath(), folder.native(name));
    std::filesystem::copy_file(product, folder.native(product.filename().u8string()));
    Texts arguments{"arguments", folder.path("report")};
    arguments.insert(arguments.end(), kTrickyArguments.begin(), kTrickyArguments.end());
    std::string expected;
    for (const std::string& argument : arguments)
        expected += argument + '\0';
    EXPECT_TRUE(execute(commandLine(arguments, folder.path(name)), true, nullptr, nullptr));
    EXPECT_EQ(folder.content("report"), expected);
}

TEST(CommandLine, IsSplitAsTheWindowsLibraryDoes) {
    const std::vector<std::pair<std::string, Texts>> table{
        // The examples of the library's manual.
        {R"(p "a b c" d e)", {"p", "a b c", "d", "e"}},
        {R"(p "ab\"c" "\\" d)", {"p", "ab\"c", "\\", "d"}},
        {R"(p a\\\b d"e f"g h)", {"p", R"(a\\\b)", "de fg", "h"}},
        {R"(p a\\\"b c d)", {"p", R"(a\"b)", "c", "d"}},
        {R"(p a\\\\"b c" d e)", {"p", R"(a\\b c)", "d", "e"}},
        {R"(p a"b"" c d)", {"p", "ab\" c d"}},
        // A program's name knows no escapes.
        {R"("C:\a b\"prog.exe \x)", {R"(C:\a b\prog.exe)", R"(\x)"}},
        {"\t p\t\"\" \"\t", {"p", "", "\t"}},
        {"\"\" x", {"", "x"}},
        {" \t ", {}}};
    for (const auto& [line, arguments] : table) {
        EXPECT_EQ(za::os::splitCommandLine(line), arguments) << line;
    }
}

TEST(Command, IsEchoedWithALineEnd) {
    CaptureStdout();
    EXPECT_EQ(zaFile::executeProcess(probeCommand("print 3"), true), 0);
    EXPECT_EQ(GetCapturedStdout(), std::string("0\n\0001\n\0\0002\n\n", 10));
    CaptureStdout();
    EXPECT_EQ(zaFile::executeProcess(probeCommand("print 3"), false), 0);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(zaFile::executeProcess(probeCommand("exit 3"), false), 3);
    EXPECT_NE(zaFile::executeProcess("there-is-no-such-program 2>&1", false), 0);
}

TEST(Command, LosesNoByteOfALongOutput) {
    constexpr std::size_t kLinesInMiB = 6700;
    const std::size_t lines =
        kLinesInMiB * (std::getenv("ZA_TEST_ALL") ? ZA_LONG_OUTPUT_MIB : ZA_OUTPUT_MIB);
    const ScratchFolder folder;
    const TestVariable probeVariable("ZA_PROBE", probePath().u8string());
    const std::string relay = probeCommand("relay " + std::to_string(lines));
    const std::string before = zaFile::getCurrentDir();
    ASSERT_TRUE(zaFile::setCurrentDir(folder.path()));
    EXPECT_EQ(zaFile::executeProcess(relay, false), 0);
    ASSERT_TRUE(zaFile::setCurrentDir(before));

    std::ifstream file(folder.native("output"), std::ios::binary);
    std::string line;
    for (std::size_t i = 0; i < lines; ++i) {
        ASSERT_TRUE(std::getline(file, line));
        ASSERT_EQ(line, std::string(i % 300, '\0') + std::to_string(i));
    }
    EXPECT_EQ(file.get(), '\n');
    EXPECT_EQ(file.get(), std::ifstream::traits_type::eof());
}

}  // namespace
