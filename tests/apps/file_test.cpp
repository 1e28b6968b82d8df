#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <thread>

#include "apps/velactl/file_content.h"
#include "apps/velactl/file_local.h"
#include "platform/os/vela_os.h"
#include "tests/apps/child.h"

namespace apps_test {
namespace {

namespace fs = std::filesystem;
using velactl::ContentEnd;

// A server that offers "shared", and clients with an installation root of their own.
class FilesTest : public ::testing::Test {
 protected:
  FilesTest() {
    files::Write("etc/conf/vela.cfg",
                 "FileServiceRead = shared,var/reports\nFileServiceWrite = shared\n"
                 "FileServiceDelete = shared\nFileServiceMaxBytes = 3000000\n");
    files::Write("shared/f", "old");
    fs::create_directories(away + "var");
    fs::create_directories(here);
    fs::create_directory_symlink(files::Root() + "var/run", away + "var/run");
  }
  void Serve(const std::string& keys = "") {
    server.reset();
    server = std::make_unique<Server>(keys);
    ASSERT_TRUE(server->Ready());
  }
  std::unique_ptr<Child> Client(std::vector<std::string> words, const std::string& scale = "1000") const {
    words.insert(words.begin(), {VELA_BIN_DIR "/velactl", "file"});
    return std::make_unique<Child>(
        words, std::map<std::string, std::string>{{"VELA_ROOT", away}, {"VELA_TIME_SCALE", scale}});
  }
  std::string Names() const {
    std::string names;
    for (const auto& entry : fs::directory_iterator(here)) names += entry.path().filename().string() + " ";
    return names;
  }

  const std::string away = files::Root() + "away/", here = files::Root() + "here/", mine = here + "mine";
  std::unique_ptr<Server> server;
};

TEST_F(FilesTest, CommandsBetweenTwoRoots) {
  files::Write("here/mine", "new");
  fs::permissions(mine, fs::perms(0640));
  fs::create_symlink("mine", here + "link");
  files::Write("here/long", std::string(3000001, 'x'));
  files::Write("shared/long", std::string(3000001, 'x'));
  files::Write("shared/a\033b", "");
  Serve();
  const struct {
    std::vector<std::string> words;
    int code;
    std::string said;  // on standard output, or error when the code is not 0
  } rows[] = {
      {{"ls", "100", "shared"}, 0, "a\\x1Bb\nf\nlong\n"},
      {{"ls", "100/1", "shared", "l*g", "--json"},
       0,
       "{\"process\": \"100/1\", \"path\": \"shared\", \"files\": [\"long\"]}\n"},
      {{"get", "100", "shared/f", here + "link"},
       0,
       "shared/f of process 100/1: 3 bytes, written to " + here + "link\n"},
      {{"put", "100", "shared/deep/g", mine, "--json"},
       0,
       "{\"process\": \"100/1\", \"path\": \"shared/deep/g\", \"local\": \"" + mine + "\", \"bytes\": 3}\n"},
      {{"get", "100", "shared/deep/g", here}, 0, "shared/deep/g of process 100/1: 3 bytes"},
      {{"rm", "100", "shared/f"}, 0, "shared/f of process 100/1 removed\n"},
      {{"get", "100", "shared/f", mine}, 2, "server process 100/1 has no shared/f"},
      {{"rm", "100", "conf/test.cfg"}, 2, "server process 100/1 refuses conf/test.cfg"},
      {{"put", "100", "../f", mine}, 2, "server process 100/1 refuses ../f"},
      {{"ls", "100", "shared", "a*b*c"}, 1, "server process 100/1 failed"},
      {{"put", "100", "shared/f", here + "long"}, 1, "shared/f is larger than"},
      {{"get", "100", "shared/long", mine}, 1, "shared/long is larger than"},
      {{"put", "100", "shared/f", here + "none"}, 1, "none cannot be read: No such file"},
      {{"put", "100", "shared/here", files::Root()}, 1, "here is no ordinary file"},
      {{"get", "100", "shared/deep/g", "/dev/null"}, 1, "/dev/null is no ordinary file"},
      {{"get", "100", "shared/deep/g", here + "no/g"}, 1, "cannot be written: No such file"},
      {{"get", "101/2", "shared/f", mine}, 1, "no server process 101/2 is running below " + away},
      {{}, 1, "get, put, ls or rm is missing; see velactl file --help"},
      {{"get", "0"}, 1, "'0' is no server process"},
      {{"rm", "100", "a", "b"}, 1, "'b' is one argument too many"},
      {{"get", "100", "a/.."}, 1, "'a/..' names no file"},
      {{"ls", "--process", "100"}, 1, "unknown option '--process'"},
  };
  for (const auto& row : rows) {
    const auto client = Client(row.words);
    EXPECT_EQ(client->End(), row.code) << row.said;
    const std::string& text = client->Text(row.code == 0 ? Child::out : Child::err);
    EXPECT_NE(text.find(row.said), std::string::npos) << text;
    EXPECT_TRUE(row.code == 0 || client->Text(Child::out).empty());
  }
  EXPECT_EQ(files::Read("here/mine") + files::Read("here/g") + files::Read("shared/deep/g"), "oldoldold");
  EXPECT_EQ(fs::status(mine).permissions(), fs::perms(0640));
  EXPECT_EQ(std::distance(fs::directory_iterator(here), {}), 4) << "nothing is left beside the files";
  EXPECT_TRUE(fs::is_symlink(here + "link") && !fs::exists(files::Root() + "shared/f") &&
              !fs::exists(files::Root() + "f"));

  Serve("FileService = 0\n");
  const auto client = Client({"ls", "100", "shared"});
  EXPECT_EQ(client->End(), 1);
  EXPECT_NE(client->Text(Child::err).find("server process 100/1 offers no files"), std::string::npos);
}

TEST_F(FilesTest, LargeFilesShowTheirProgress) {
  Serve();
  std::mt19937 random(1);
  std::string content(2 << 20, ' ');
  for (char& c : content) c = static_cast<char>(random());
  files::Write("here/mine", content);
  const auto put = Client({"put", "100", "shared/large", mine});
  EXPECT_EQ(put->End(), 0);
  EXPECT_NE(put->Text(Child::err).find("\n60% Sending shared/large to process 100/1\n100% "),
            std::string::npos);
  const auto got = Client({"get", "100", "shared/large", here + "copy"});
  EXPECT_EQ(got->End(), 0);
  EXPECT_EQ(files::Read("here/copy"), content);
}

TEST_F(FilesTest, InterruptOrSilenceChangesNothing) {
  const std::string content(1 << 20, 'x');
  files::Write("here/mine", content);
  Serve();
  server->Stop();
  for (const char* verb : {"get", "put"}) {
    const auto late = Client({verb, "100", "shared/f", mine, "--timeout", "1"}, "1");
    EXPECT_EQ(late->End(), 1);
    EXPECT_NE(late->Text(Child::err).find("gave no sign of life"), std::string::npos);
  }
  const auto left = Client({"put", "100", "shared/f", mine});
  EXPECT_TRUE(left->Says(Child::err, "60% Sending"));
  left->Signal(SIGINT);
  EXPECT_EQ(left->End(), 130);
  EXPECT_EQ(files::Read("here/mine") == content ? Names() : "changed", "mine ");
  EXPECT_EQ(files::Read("shared/f"), "old");
}

// Every outcome of a kill is good but a part of a file.
TEST_F(FilesTest, KilledProcessesLeaveWholeFiles) {
  std::mt19937 random(7);
  std::string versions[2];
  for (std::string& version : versions)
    while (version.size() < 400000) version += std::to_string(random()) + "\n";
  const auto whole = [&](const std::string& name) {
    const std::string content = files::Read(name);
    return content == versions[0] || content == versions[1];
  };
  files::Write("here/0", versions[0]);
  files::Write("here/1", versions[1]);
  files::Write("here/copy", versions[0]);
  files::Write("shared/f", versions[0]);
  Serve();
  const auto begun = std::chrono::steady_clock::now();
  ASSERT_EQ(Client({"put", "100", "shared/f", here + "1"})->End(), 0);
  const auto longest = std::chrono::steady_clock::now() - begun;
  for (int i = 0; i < 100; ++i) {
    const bool put = i % 2 == 0;
    const auto client = put ? Client({"put", "100", "shared/f", here + std::to_string(i / 2 % 2)})
                            : Client({"get", "100", "shared/f", here + "copy"});
    std::this_thread::sleep_for(longest * (random() % 1000) / 1000);
    const bool atServer = random() % 4 == 0;
    (atServer ? static_cast<const Child&>(*server) : *client).Signal(SIGKILL);
    if (!atServer) client->End();
    ASSERT_TRUE(whole("shared/f") && whole("here/copy")) << i;
    if (atServer) Serve();
  }
  files::Write(".incoming/999999999.1", "of a dead server");
  Serve();
  EXPECT_TRUE(fs::is_empty(files::Root() + ".incoming"));
  EXPECT_EQ(Client({"put", "100", "shared/f", here + "1"})->End(), 0);
  EXPECT_EQ(Client({"get", "100", "shared/f", here + "copy"})->End(), 0);
  EXPECT_EQ(files::Read("here/copy"), versions[1]);
}

TEST_F(FilesTest, AuditsLeaveTheNewestReports) {
  Serve("AuditReports = 2\n");
  const std::string inventory = files::Write(
      "two.csv", "identifier,name,type,address,version,position\n9-1,\"a\"\"b\",?,10.0.0.1,1.20,\n");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Audit(inventory).End(), 0);
  const auto client = Client({"ls", "100", "var/reports", "audit_*.csv"});
  EXPECT_EQ(client->End(), 0);
  const auto names = files::Lines(client->Text(Child::out));
  ASSERT_EQ(names.size(), 2u);
  EXPECT_EQ(files::Read("var/reports/" + names[1]),
            "# 1 of 1 NEs checked, 1 faults found\nidentifier,name,fault,text\n"
            "\"9-1\",\"a\"\"b\",type-unknown,\"type \"\"?\"\" is not known\"\n");
}

TEST(FileContentTest, IsWholeWithinItsLimits) {
  for (const std::size_t size : {0, 1, 65536, 65537, 300000}) {
    SCOPED_TRACE(size);
    std::mt19937 random(3);
    std::string text, packed, why;
    while (text.size() < size) text += static_cast<char>(random() % 16);
    const std::string name = files::Write("f", text);
    const auto deflate = [&](std::size_t limit, bool goOn) {
      packed.clear();
      std::uint64_t read = 0;
      std::FILE* file = velactl::OpenLocal(name, read, why);
      const auto moved = [=](std::uint64_t) { return goOn; };
      read = 0;
      const ContentEnd end = velactl::DeflateContent(file, limit, moved, packed, read);
      VELA_OS::fclose(file);
      return end;
    };
    const auto inflate = [&](std::string_view content, std::uint64_t limit) {
      velactl::LocalReplacement out(files::Root() + "out");
      std::uint64_t written = 0;
      const auto moved = [](std::uint64_t) { return true; };
      const ContentEnd end = velactl::InflateContent(content, limit, moved, out.File(), written);
      return end == ContentEnd::done && !out.Commit() ? ContentEnd::io : end;
    };
    EXPECT_EQ(deflate(1 << 20, false), ContentEnd::left);
    ASSERT_EQ(deflate(1 << 20, true), ContentEnd::done);
    const std::size_t exact = packed.size();
    EXPECT_EQ(deflate(exact - 1, true), ContentEnd::tooLarge);
    EXPECT_EQ(deflate(exact, true), ContentEnd::done);
    EXPECT_EQ(inflate(packed, size), ContentEnd::done);
    EXPECT_TRUE(size == 0 || inflate(packed, size - 1) == ContentEnd::tooLarge);
    EXPECT_EQ(inflate(packed.substr(0, exact - 1), size), ContentEnd::damaged);
    EXPECT_EQ(files::Read("out"), text);
  }
}

}  // namespace
}  // namespace apps_test
