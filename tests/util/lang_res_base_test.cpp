#include "util/basicutil/lang_res_base.h"

#include <sys/stat.h>

#include "tests/util/util_test.h"

namespace {

using files::Root;
using files::Write;
using LangRes = LogTest;

std::string Text(TELangResMgrBase& mgr, const std::string& key) {
  const RWCString text = mgr.GetResourceStr(key);
  return {text.data(), text.length()};
}

TEST_F(LangRes, TheFirstTextWinsAndReloadTriesAllFilesAgain) {
  TELangResMgrBase mgr;
  const std::string first = Write("first.txt", "# texts\nA = one\nB = \" 好 \"\nA = again\nbroken line\n");
  const std::string second = Write("second.txt", "A = two\nC = three\n");
  const std::string later = Root() + "later.txt";
  EXPECT_EQ(mgr.LoadLangFile(first.c_str()), 0);
  EXPECT_EQ(mgr.LoadLangFile(later.c_str()), -1);
  EXPECT_EQ(mgr.LoadLangFile(second.c_str()), 0);
  EXPECT_EQ(Text(mgr, "A") + Text(mgr, "B") + Text(mgr, "C") + Text(mgr, "D"), "one 好 three");
  EXPECT_EQ(Traced("Found reduplicate resource key. A in file " + first), 1);
  EXPECT_EQ(Traced("Found reduplicate resource key. A in file " + second), 1);
  EXPECT_EQ(Traced("Read lang res file " + later + " fail!\n"), 1);

  EXPECT_EQ(mgr.Reload(), -1) << "still missing, the others are read";
  EXPECT_EQ(Text(mgr, "C"), "three");
  Write("later.txt", "C = four\n");
  Write("first.txt", "A = new\n");
  EXPECT_EQ(mgr.Reload(), 0) << "a file that failed is tried again";
  EXPECT_EQ(Text(mgr, "A") + Text(mgr, "B") + Text(mgr, "C"), "newfour") << "in the old order, afresh";
}

TEST_F(LangRes, FilesThatAreNone) {
  TELangResMgrBase mgr;
  ASSERT_EQ(mkfifo((Root() + "pipe").c_str(), 0600), 0);
  std::filesystem::resize_file(Write("huge", "A = 1\n"), (std::uintmax_t{64} << 20) + 1);
  for (const char* name : {"pipe", "huge", "var", "missing"})
    EXPECT_EQ(mgr.LoadLangFile((Root() + name).c_str()), -1) << name;
  EXPECT_EQ(mgr.LoadLangFile(nullptr), -1);
  EXPECT_EQ(Traced("fail!\n"), 4);
  EXPECT_EQ(Traced("ASSERT: file util/basicutil/lang_res_base"), 1);
  EXPECT_EQ(Text(mgr, "A"), "");

  Write("bad",
        std::string("A = 1\nN = \0\nU = \xC0\xAF\n\xFF = x\nL = ", 30) + std::string(70000, 'x') + "\nB = 2");
  EXPECT_EQ(mgr.LoadLangFile((Root() + "bad").c_str()), 0);
  EXPECT_EQ(Text(mgr, "A") + Text(mgr, "N") + Text(mgr, "U") + Text(mgr, "\xFF") + Text(mgr, "L"), "1");
  EXPECT_EQ(Text(mgr, "B"), "2") << "bad lines take no good one with them";
}

TEST_F(LangRes, DynamicFilesFollowTheLanguage) {
  const auto package = [](const std::string& folder, const char* line) {
    Write("nemgr/nemgr_" + folder + "/resource.txt", line);
  };
  package("x/conf/devicepnp/dev1/res/en_US", "D = english\nONE = 1\n");
  package("x/conf/devicepnp/dev1/res/zh_CN", "D = 中文\nONE = 1\n");
  package("y/conf/devicepnp/dev22/res/zh_CN", "TWO = 2\n");
  package("y/conf/other/dev1/res/zh_CN", "NOT = 1\n");
  package("y/conf/devicepnp/old1/res/zh_CN", "NOT = 1\n");
  TELangResMgr* mgr = TELangResMgr::Instance();
  {
    const testkit::Language none("");
    mgr->LoadDynLangFile();
    EXPECT_EQ(Text(*mgr, "D") + Text(*mgr, "TWO"), "english");
  }
  const char* names[] = {"own.txt", nullptr};
  Write("own.txt", "OWN = 3\n");
  mgr->LoadLangFile(Root(), names);
  const testkit::Language chinese("zh_CN");
  EXPECT_EQ(mgr->Reload(), 0);
  EXPECT_EQ(Text(*mgr, "D") + Text(*mgr, "ONE") + Text(*mgr, "TWO") + Text(*mgr, "OWN"), "中文123");
  EXPECT_EQ(Text(*mgr, "NOT"), "");
  TELangResMgr::Destroy();
}

TEST_F(LangRes, AppendedTexts) {
  TELangResMgrBase mgr;
  mgr.LoadLangFile(Write("r.txt",
                         "ERR = plain\nERR1A = x\nERRFF = A hello A\nERR0 = A\nERR1 = AA\nERR2 =\n"
                         "ERR3 = Ab\nERR4 = bA\nERR7FFFFFFF = max\n")
                       .c_str());
  const std::tuple<int, const char*, const char*> rows[] = {
      // index, text (null: none), trimmed text
      {-1, "plain", "plain"},        {26, "x", "x"},        {0, "A", "A"},   {1, "AA", ""},
      {255, "A hello A", " hello "}, {3, "Ab", "Ab"},       {4, "bA", "bA"}, {2, nullptr, nullptr},
      {0x7FFFFFFF, "max", "max"},    {16, nullptr, nullptr}};
  for (const auto& [index, whole, trimmed] : rows) {
    std::string text = "<", cut = "<";
    EXPECT_EQ(AppendRes(&mgr, "ERR", index, text), whole != nullptr);
    EXPECT_EQ(AppendResAndTrimAChar(&mgr, "ERR", index, cut), whole != nullptr);
    EXPECT_EQ(text + cut, whole == nullptr ? "<<" : std::string("<") + whole + "<" + trimmed) << index;
  }
  std::string out = "<";
  EXPECT_FALSE(AppendRes(nullptr, "ERR", 1, out));
  EXPECT_FALSE(AppendResAndTrimAChar(&mgr, nullptr, 1, out));
  EXPECT_EQ(Traced("ASSERT: file util/basicutil/lang_res_base"), 2);
  EXPECT_FALSE(AppendRes("ERR", 26, out)) << "the table of the process holds none";
}

// Notes as their lengths, the headings left out.
TEST_F(LangRes, NotesByLength) {
  const auto piece = [](std::size_t length) { return std::string(length - 1, 'x') + ';'; };
  std::string chinese;
  for (int i = 0; i < 80; ++i) chinese += "好";
  const std::tuple<std::string, std::vector<std::size_t>, const char*> rows[] = {
      {"", {0}, "an empty text is one note"},
      {std::string(232, 'x'), {232}, "no separator"},
      {std::string(233, 'x'), {0, 233}, "reaches the limit"},
      {std::string(240, 'x'), {0, 240}, "the longest remainder"},
      {std::string(241, 'x'), {}, "a longer one is dropped"},
      {piece(100) + std::string(241, 'x'), {}, "and what was gathered with it"},
      {piece(133) + piece(100) + std::string(241, 'x'), {}, "gathered up to the limit"},
      {piece(134) + piece(100) + std::string(241, 'x'), {134}, "closed notes stay"},
      {piece(100) + piece(100) + std::string(32, 'x'), {232}, "all in one"},
      {piece(100) + piece(100) + std::string(33, 'x'), {200, 33}, "together at the limit"},
      {piece(233), {233, 0}, "a segment that fills a note"},
      {piece(300) + piece(1), {233, 1}, "the end of a long segment is dropped"},
      {piece(200) + piece(33) + piece(1) + "x", {233, 2}, "the next segment would exceed it"},
      {chinese + ";", {231}, "a segment is cut between characters"},
  };
  for (const auto& [given, expected, why] : rows) {
    TELangResMgrBase mgr;
    RWCString text(given);
    std::vector<RWCString> notes;
    DivisionStr(&mgr, ";", text, notes);
    std::vector<std::size_t> lengths;
    for (const RWCString& note : notes) lengths.push_back(note.length());
    EXPECT_EQ(lengths, expected) << why;
  }
}

TEST_F(LangRes, HeadingsOfNotes) {
  const std::string wide(239, 'w');
  std::vector<std::vector<std::string>> rows = {// format, heading of note 1, of note 2
                                                {"Note %d: ", "Note 1: ", "Note 2: "},
                                                {"100%% %03d", "100% 001", "100% 002"},
                                                {"%+-4.2ld|", "+01 |", "+02 |"},
                                                {wide + "好%d", wide, wide},
                                                {wide + "%2d", wide + " ", wide + " "}};
  for (const char* itself : {"none ", "%s%n", "%d %d", "%*d", "%1000d", "5%"}) rows.push_back({itself});
  for (const auto& row : rows) {
    TELangResMgrBase mgr;
    mgr.LoadLangFile(Write("note.txt", "NOTE = \"" + row[0] + "\"\n").c_str());
    const std::string begin = std::string(100, 'a') + "--", end(200, 'b');
    RWCString text(begin + end);
    std::vector<RWCString> notes(1, "before");
    DivisionStr(&mgr, "--", text, notes);
    ASSERT_EQ(notes.size(), 3U) << "appended";
    EXPECT_EQ(notes[1].data(), row[row.size() / 2] + begin);
    EXPECT_EQ(notes[2].data(), row.back() + end);
  }
  TELangResMgrBase mgr;
  RWCString text("a;b");
  std::vector<RWCString> notes;
  DivisionStr(nullptr, ";", text, notes);
  EXPECT_EQ(Traced("DivisionStr Para Invalid\n"), 1);
  EXPECT_EQ(Traced("is no format of one number"), 5);
  for (const char* separator : {"", static_cast<const char*>(nullptr)})
    DivisionStr(&mgr, separator, text, notes);
  EXPECT_EQ(notes.size(), 2U) << "one each";
}

// An override that loads a file of its own works with and without the mutex held.
TEST(LangResThreaded, ReadersSeeWholeTables) {
  class Own : public TELangResMgrBase {
   public:
    void LoadDynLangFile() override { LoadLangFileImpl((Root() + "dyn.txt").c_str(), true); }
  };
  Own mgr;
  Write("dyn.txt", "DYN = here\n");
  mgr.LoadDynLangFile();
  mgr.LoadLangFile(Write("a.txt", "KEY = text\n").c_str());
  InThreads(3, [&, done = std::make_shared<std::atomic<bool>>()](int thread) {
    for (int i = 0; thread == 0 && i < 20; ++i) EXPECT_EQ(mgr.Reload(), 0);
    if (thread == 0) *done = true;
    while (!*done) EXPECT_NE(mgr.GetResourceStr(thread == 1 ? "KEY" : "DYN").length(), 0U);
  });
}

}  // namespace
