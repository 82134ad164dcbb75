#include <gtest/gtest.h>

#include <string.h>

#include "commands/cmdline.h"
#include "core/msg.h"
#include "platform/plat.h"
#include "testutil.h"

/* Each test starts a fresh queue whose execute callback records the
 * commands and lets a test read parameters the way a command would. */
static std::vector<unsigned> _aRun;
static void (*_pfOnRun)(unsigned);

static void _Exec(unsigned Command, unsigned) {
  _aRun.push_back(Command);
  if (_pfOnRun) _pfOnRun(Command);
  CMDLINE_CommandDone();
}

class Cmdline : public ::testing::Test {
protected:
  void SetUp() override {
    _aRun.clear();
    _pfOnRun = nullptr;
    CMDLINE_Init("Zelmar", "", 0xE141, _Exec);   /* no log file in unit tests */
  }
  void Parse(std::vector<std::string> aArgs) {
    std::vector<char*> av{(char*)"zelmar"};
    for (auto& s : aArgs) av.push_back((char*)s.c_str());
    Store = aArgs;
    CMDLINE_ParseCommandLine((int)av.size(), av.data());
  }
  /* Ticks until the queue is over; the exit command ends the run as the
   * window's end would. */
  void RunQueue() {
    for (int i = 0; i < 50 && CMDLINE_IsPending(); i++) {
      CMDLINE_Exec();
      if (!_aRun.empty() && _aRun.back() == 0xE141) break;
    }
  }
  std::vector<std::string> Store;
  FakeFrontEnd Ui;
  ReportCatcher Reports;
};

TEST_F(Cmdline, HelpTextIsExact) {
  Parse({"-?"});
  ASSERT_EQ(Ui.Boxes.size(), 1u);
  const std::string& s = Ui.Boxes[0].Text;
  EXPECT_EQ(s.size(), 1463u);
  EXPECT_EQ(s.rfind("Valid command line options:\r\n\r\n-convertintobw\t\tConvert to BW\r\n", 0), 0u);
  EXPECT_NE(s.find("-saveas\t\t\t<FILENAME>,<TYPE>[,<FORMAT>[,<NOPALETTE>]]> Saves file as <FILENAME>,\n"), std::string::npos);
  EXPECT_NE(s.find("\t\t\tNOPALETTE: 1 to save without palette\r\n-transparency"), std::string::npos);
  EXPECT_EQ(s.substr(s.size() - 23), "-?\t\t\tDisplay this box\r\n");
  EXPECT_EQ(Ui.Boxes[0].Title, "Commandline");
  EXPECT_EQ(Ui.Boxes[0].Icon, PLAT_ICON_INFO);
  EXPECT_FALSE(CMDLINE_IsBatch());
}

TEST_F(Cmdline, HelpDuringParsingKeepsLaterOptions) {
  Parse({"/?", "-help", "-fliph"});
  EXPECT_EQ(Ui.Boxes.size(), 2u);
  RunQueue();
  EXPECT_EQ(_aRun, std::vector<unsigned>{0x8018});
}

TEST_F(Cmdline, OptionNamesMatchWholeAndCaseSensitive) {
  Parse({"-rotate90", "-FLIPH", "-", "-convertintogray16", "-fliphxyz", "/convertintobw"});
  ASSERT_EQ(Ui.Boxes.size(), 3u);
  EXPECT_EQ(Ui.Boxes[0].Text, "\"rotate90\" is not a valid command !");
  EXPECT_EQ(Ui.Boxes[0].Title, "(null)");
  EXPECT_EQ(Ui.Boxes[1].Text, "\"FLIPH\" is not a valid command !");
  EXPECT_EQ(Ui.Boxes[2].Text, "\"\" is not a valid command !");
  RunQueue();
  EXPECT_EQ(_aRun, (std::vector<unsigned>{0x800C, 0x8018, 0x800A}));
  EXPECT_EQ(CMDLINE_GetError(), 0);
}

TEST_F(Cmdline, ExitFirstMeansNothingElseRuns) {
  /* The callback here is no window: exit is just another entry. */
  Parse({"-exit", "-fliph"});
  CMDLINE_Exec();
  EXPECT_EQ(_aRun, std::vector<unsigned>{0xE141});
}

TEST_F(Cmdline, ErrorStopsQueueAndExitFollowsAtOnce) {
  _pfOnRun = [](unsigned Cmd) { if (Cmd == 0x8018) MSG_Error("boom"); };
  Parse({"-fliph", "-flipv", "-rotate180", "-exit"});
  RunQueue();
  EXPECT_EQ(_aRun, (std::vector<unsigned>{0x8018, 0xE141}));
  EXPECT_EQ(CMDLINE_GetError(), 1);
  EXPECT_TRUE(Ui.Boxes.empty());   /* exit queued: the error shows no box */
}

TEST_F(Cmdline, ErrorWithoutExitShowsBoxAndStops) {
  _pfOnRun = [](unsigned Cmd) { if (Cmd == 0x8018) MSG_Error("boom"); };
  Parse({"-fliph", "-flipv"});
  RunQueue();
  EXPECT_EQ(_aRun, std::vector<unsigned>{0x8018});
  ASSERT_EQ(Ui.Boxes.size(), 1u);
  EXPECT_EQ(Ui.Boxes[0].Text, "boom");
  EXPECT_EQ(Ui.Boxes[0].Title, "Zelmar");
  EXPECT_TRUE(CMDLINE_IsBatch());   /* a stopped queue stays in batch mode */
  EXPECT_FALSE(CMDLINE_IsPending());
}

TEST_F(Cmdline, LastCommandRunsInBatchModeThenBatchEnds) {
  static int WasBatch;
  _pfOnRun = [](unsigned) { WasBatch = CMDLINE_IsBatch(); };
  Parse({"-fliph"});
  RunQueue();
  EXPECT_EQ(WasBatch, 1);
  EXPECT_FALSE(CMDLINE_IsBatch());
  MSG_Error("later");               /* after the batch: box only, no error flag */
  EXPECT_EQ(CMDLINE_GetError(), 0);
  EXPECT_EQ(Ui.Boxes.size(), 1u);
}

/* Reads the argument text of one queued option with a reader. */
static std::vector<std::string> _aRead;
static int _aHex[4];

TEST_F(Cmdline, GetStringStopsAtCommaAndPutsItBack) {
  _pfOnRun = [](unsigned) {
    char ac[20];
    CMDLINE_GetString(ac, 19);
    _aRead.push_back(ac);
    _aRead.push_back(std::string(1, (char)CMDLINE_GetChar()));
    CMDLINE_GetString(ac, 19);
    _aRead.push_back(ac);
    _aRead.push_back(std::to_string(CMDLINE_GetChar()));
  };
  _aRead.clear();
  Parse({"-saveasout.c,1"});
  RunQueue();
  EXPECT_EQ(_aRead, (std::vector<std::string>{"out.c", ",", "1", "0"}));
}

TEST_F(Cmdline, GetStringLeadingCommaMissingAndTooLong) {
  _pfOnRun = [](unsigned) {
    char ac[8];
    CMDLINE_GetString(ac, 4);
    _aRead.push_back(ac);
  };
  _aRead.clear();
  Parse({"-saveas,ab,c"});
  RunQueue();
  EXPECT_EQ(_aRead[0], ",ab");
  SetUp();
  _pfOnRun = [](unsigned) { char ac[8]; CMDLINE_GetString(ac, 4); _aRead.push_back(ac); };
  _aRead.clear();
  Parse({"-saveas"});
  RunQueue();
  EXPECT_EQ(_aRead[0], "");
  SetUp();
  _pfOnRun = [](unsigned) { char ac[8]; CMDLINE_GetString(ac, 4); };
  Parse({"-saveasabcdef"});
  RunQueue();
  EXPECT_EQ(Reports.Errors.size(), 0u);   /* MSG_Error is not the image hook */
  ASSERT_EQ(Ui.Boxes.size(), 2u);
  EXPECT_EQ(Ui.Boxes[0].Text, "CMDLINE_GetString: Missing string");
  EXPECT_EQ(Ui.Boxes[1].Text, "CMDLINE_GetString: String to long");
}

TEST_F(Cmdline, GetHexValue) {
  struct { const char* sArg; int Value; const char* sError; } a[] = {
    { "00FF00-1",   0x00FF00, nullptr },
    { "ff,12",      0xFF,     nullptr },
    { "-10",        -16,      nullptr },
    { "-",          0,        nullptr },
    { "",           0,        "CMDLINE_GetHexValue: Missing value" },
    { "12x",        -1,       "CMDLINE_GetHexValue: Not a hex value" },
    { ",5",         0,        "Not a hex value" },
    { "1FFFFFFFF",  -1,       nullptr },            /* overflow falls away */
    { "123456789012", -1,     "CMDLINE_GetHexValue: Not a hex value" },
  };
  for (auto& t : a) {
    SetUp();
    Ui.Boxes.clear();
    _pfOnRun = [](unsigned) { _aHex[0] = CMDLINE_GetHexValue(); };
    Parse({std::string("-transparency") + t.sArg});
    RunQueue();
    EXPECT_EQ(_aHex[0], t.Value) << t.sArg;
    if (t.sError) {
      ASSERT_EQ(Ui.Boxes.size(), 1u) << t.sArg;
      EXPECT_EQ(Ui.Boxes[0].Text, t.sError);
    } else {
      EXPECT_TRUE(Ui.Boxes.empty()) << t.sArg;
    }
  }
}

TEST_F(Cmdline, QueueLimitsNeverOverwrite) {
  std::vector<std::string> aArgs(25, "-fliph");
  aArgs.push_back("-exit");
  Parse(aArgs);
  EXPECT_EQ(CMDLINE_GetError(), 1);      /* refused options fail the run */
  RunQueue();
  EXPECT_EQ(_aRun, std::vector<unsigned>{0xE141});
  SetUp();
  Parse({"-saveas" + std::string(300, 'a')});
  EXPECT_EQ(CMDLINE_GetError(), 1);
}

TEST_F(Cmdline, NoArgumentsNoQueueNoBox) {
  Parse({});
  EXPECT_FALSE(CMDLINE_IsBatch());
  EXPECT_FALSE(CMDLINE_IsPending());
  EXPECT_TRUE(Ui.Boxes.empty());
}

TEST_F(Cmdline, AbsolutePathFirstIsTheFileNotAnOption) {
  Parse({"/no/such/picture.bmp", "/fliph", "/nosuchoption"});
  EXPECT_EQ(Reports.Errors, std::vector<std::string>{"File not found"});
  ASSERT_EQ(Ui.Boxes.size(), 2u);
  EXPECT_EQ(Ui.Boxes[0].Text, "\"nosuchoption\" is not a valid command !");
  EXPECT_EQ(Ui.Boxes[1].Title, "Commandline");   /* help after the failed open */
  RunQueue();
  EXPECT_EQ(_aRun, std::vector<unsigned>{0x8018});
}
