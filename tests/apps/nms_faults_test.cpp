#include <sched.h>
#include <sys/mount.h>

#include <list>

#include "asn1/progress.h"
#include "tests/apps/peer.h"

// Uploads of real servers that die, hang or run out of disk at work; only the client is the test's.
namespace apps_test {
namespace {

// 9-1 to 9-12: two of three are of managers 120, the others of 121. A slow manager takes seconds for an NE:
// what is done to it when it tells of a first board meets it at work.
std::unique_ptr<NmsServer> Manager(int number, int handle, bool slow = false) {
  files::Write("conf/ne_faults.cfg", "");
  files::Write("conf/network.cfg",
               "A-1 = 120\nB-2 = 120\nC-3 = 121\nNEs = 12\nNEMilliseconds = 10\nBoardMilliseconds = " +
                   std::string(slow ? "2500\n" : "20\n"));
  return std::make_unique<NmsServer>(number, handle, "nemgr");
}

const std::vector<std::uint32_t> kAll = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

// Of all NEs: one code for every third NE, another for the rest.
std::string Results(const std::string& third, const std::string& others) {
  std::string text = " |";
  for (const std::uint32_t ne : kAll) text += ' ' + std::to_string(ne) + ':' + (ne % 3 == 0 ? third : others);
  return text;
}

class User : public Client {
 public:
  using Client::Client;
  void Upload(const std::vector<std::uint32_t>& nes) { Ask(NE_UPLOAD_COMMAND, ++m_asked, nes); }
  std::string Answer() {
    AsnNEMissionRsp response;
    Answered(NE_UPLOAD_COMMAND, response, ++m_answers);
    return Told(response);
  }
  // The answer when all is done, or the last one within some time.
  std::string UploadAgain(const std::vector<std::uint32_t>& nes) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (;;) {
      Upload(nes);
      const std::string answer = Answer();
      if (answer.starts_with("0 ") || std::chrono::steady_clock::now() > deadline) return answer;
    }
  }
  enum Phase { known, atWork, done };
  // Waits until a part of the mission has come so far.
  void Sees(const std::string& process, Phase phase) {
    AwaitThose(1, [&](const Received& frame) {
      if (frame.cmdCode != 0x218004) return false;
      AsnParallelTaskProgressReport part;
      Decode(frame.body, part);
      const std::string detail = part.partDetail.data();
      return part.partName.data() == process && (phase == known || detail != "0%") &&
             (phase != done || !detail.ends_with('%'));
    });
  }

  // Waits for the news that the topology service has for all clients: each NE's version, no files.
  void HearsOfAll() {
    AwaitThose(1, [&](const Received& frame) {
      AsnNEChanges changes;
      if (frame.cmdCode != TOPO_BROADCAST_COMMAND) return false;
      Decode(frame.body, changes);
      return changes.results.size() == kAll.size() &&
             std::all_of(changes.results.begin(), changes.results.end(), [](const AsnNEResult& result) {
               return result.version.Len() != 0 && result.file.Len() == 0;
             });
    });
  }

 private:
  int m_asked = 0;
  std::size_t m_answers = 0;
};

// Of the files below a folder, their contents.
std::map<std::string, std::string> Files(const std::string& folder) {
  std::map<std::string, std::string> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(files::Root() + folder))
    if (entry.is_regular_file())
      found[entry.path().filename()] = files::Read(entry.path().string().substr(files::Root().size()));
  return found;
}

// All but the managers 120, and what a good upload of all leaves.
struct Network {
  Network() {
    const auto manager = Manager(120, 1);
    User user;
    EXPECT_TRUE(user.UploadAgain(kAll).starts_with("0" + Results("0", "0") + " |"));
    user.HearsOfAll();
    configs = Files("var/configs");
    EXPECT_EQ(configs.size(), 12U);
    for (const auto& [name, text] : configs) EXPECT_NE(text.find("\nslot 8\n"), std::string::npos) << name;
  }
  const std::unique_ptr<NmsServer> other = Manager(121, 1);
  const NmsServer topology{51, 1, "topology"};
  const NmsServer ems{110, 1, "ems"};
  std::map<std::string, std::string> configs;
};

TEST(NmsFaultsTest, AManagerDiesOrHangs) {
  const Network network;
  const std::string moved = Results("0", "0") + " | 120/1 0/4 42012022 | 120/2 8/8 0 | 121/1 4/4 0";
  const struct {
    const char* what;
    bool begun, hangs, both, anew;
    std::string told;
  } cases[] = {
      {"killed before it has begun", false, false, false, false, "0" + moved},
      {"killed at work", true, false, false, false, "0" + moved},
      {"killed at work and started anew", true, false, false, true, "0" + moved},
      {"both killed at work", true, false, true, false,
       "42012007" + Results("0", "42012022") + " | 120/1 0/4"},
      {"silent at work, heard of again later", true, true, false, false,
       "0" + Results("0", "0") + " | 120/1 0/4 42012023 | 120/2 8/8 0 |"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::filesystem::remove_all(files::Root() + "var/configs");
    auto first = Manager(120, 1, true);
    auto second = Manager(120, 2, c.both);
    User user;
    if (!c.begun) first->Stop();
    user.Upload(kAll);
    user.Sees(c.begun ? "120/1" : "120/2", User::atWork);
    c.hangs ? first->Stop() : first.reset();
    if (c.both) second.reset();
    if (c.anew) first = Manager(120, 1);
    const std::string told = user.Answer();
    EXPECT_TRUE(told.starts_with(c.told)) << told;
    EXPECT_EQ(Files("var/configs").size(), c.both ? 4U : 12U);

    if (c.hangs) {
      first->Signal(SIGCONT);
      EXPECT_EQ(user.UploadAgain({1}), "0 | 1:0 | 120/1 1/1 0");
    } else {
      if (first == nullptr) first = Manager(120, 1);
      EXPECT_TRUE(user.UploadAgain(kAll).starts_with("0" + Results("0", "0")));
    }
    EXPECT_EQ(Files("var/configs"), network.configs);
  }
}

TEST(NmsFaultsTest, AManagerDiesWhenItIsDone) {
  const Network network;
  const auto first = Manager(120, 1, true);
  auto second = Manager(120, 2);
  User user;
  user.Upload({1, 2, 4, 5});
  user.Sees("120/2", User::done);
  second.reset();
  EXPECT_EQ(user.Answer(), "42012006 | 1:0 2:0 4:42012033 5:42012033 | 120/1 2/2 0 | 120/2 2/2 0");
  EXPECT_EQ(Files("var/configs"), network.configs) << "the last good ones";
}

// A manager that hears nothing of the death of a server meanwhile does not take the next one for it.
TEST(NmsFaultsTest, NEsOfADeadServerOrClientAreFreeAgain) {
  const auto manager = Manager(120, 1, true);
  const NmsServer topology(51, 1, "topology");
  User user;
  auto ems = std::make_unique<NmsServer>(110, 1, "ems");
  user.Upload({1});
  user.Sees("120/1", User::atWork);
  manager->Stop();
  ems.reset();
  ems = std::make_unique<NmsServer>(110, 1, "ems");
  User next(6);
  next.Upload({2});
  next.Sees("120/1", User::known);
  manager->Signal(SIGCONT);
  EXPECT_EQ(next.Answer(), "0 | 2:0 | 120/1 1/1 0");
  EXPECT_EQ(next.UploadAgain({1}), "0 | 1:0 | 120/1 1/1 0");

  Child client({VELA_BIN_DIR "/velactl", "upload", "9-1,9-2"}, kTenth);
  EXPECT_TRUE(client.Says(Child::err, "120/1")) << client.Text(Child::err);
  client.Signal(SIGKILL);
  EXPECT_EQ(next.UploadAgain({1}), "0 | 1:0 | 120/1 1/1 0");
}

TEST(NmsFaultsTest, AHundredMissionsAreAnsweredOnceEach) {
  const std::unique_ptr<NmsServer> managers[] = {Manager(120, 1), Manager(120, 2), Manager(121, 1)};
  const NmsServer topology(51, 1, "topology");
  const NmsServer ems(110, 1, "ems");
  std::list<User> users;
  for (std::uint16_t handle = 1; handle <= 10; ++handle) users.emplace_back(handle);
  for (std::uint32_t i = 0; i < 10; ++i)
    for (User& user : users) user.Upload({i + 1, i + 2, i + 3});
  for (User& user : users)
    for (int i = 0; i < 10; ++i) {
      const std::string answer = user.Answer();
      EXPECT_TRUE(answer.starts_with("0 | ") || answer == "42012011 |") << answer;
    }
  for (User& user : users) {
    user.Upload({1});  // after all else that the server could answer
    EXPECT_TRUE(user.Answer().starts_with("0 | 1:0 | "));
    std::set<std::uint32_t> answered;
    const auto answers = user.Await(NE_UPLOAD_COMMAND, 11, VELA_KIND_RESPONSE);
    for (const Received& frame : answers) answered.insert(frame.sn);
    EXPECT_EQ(answers.size(), answered.size());
  }
}

TEST(NmsFaultsTest, NothingHalfIsLeftOnAFullDisk) {
  // What is mounted ends with the test and the servers, in any case.
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    GTEST_SKIP() << "file systems cannot be mounted here";
  const Network network;
  const auto manager = Manager(120, 1);
  User user;
  for (const auto& [folder, code] : {std::pair("var/upload", "42012032"), {"var/configs", "42012033"}}) {
    SCOPED_TRACE(folder);
    const std::string path = files::Root() + folder;
    ASSERT_EQ(mount("tmpfs", path.c_str(), "tmpfs", 0, "size=4k"), 0);
    const std::map<std::string, std::string> old = {{"9-1.cfg", std::string(4096, 'o')}};
    files::Write(folder + std::string("/9-1.cfg"), old.at("9-1.cfg"));
    user.Upload(kAll);
    const std::string told = user.Answer();
    EXPECT_TRUE(told.starts_with("42012006" + Results(code, code) + " | ")) << told;
    EXPECT_EQ(Files(folder), old);
    ASSERT_EQ(umount2(path.c_str(), MNT_DETACH), 0);
    EXPECT_EQ(Files("var/configs"), network.configs);
    std::filesystem::remove_all(files::Root() + "var/configs/9-1.cfg");
    user.Upload(kAll);
    EXPECT_TRUE(user.Answer().starts_with("0" + Results("0", "0") + " | "));
    EXPECT_EQ(Files("var/configs"), network.configs);
  }
}

}  // namespace
}  // namespace apps_test
