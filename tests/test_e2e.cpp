/* The program as a build script runs it: arguments in, files, log and
 * exit code out. */
#include <gtest/gtest.h>

#include "testutil.h"

class EndToEnd : public ::testing::Test {
protected:
  TempDir Dir;
  std::string Out, Err;
  int Run(const std::vector<std::string>& aArgs) { return RunZelmar(Dir.Path, aArgs, &Out, &Err); }
  void PutImage(const std::string& sName, IMAGE* pImage) {
    WriteFileBytes(Dir.File(sName), MakeBMP(pImage));
    IMAGE_Free(pImage);
  }
  std::string Read(const std::string& sName) { return ReadFileBytes(Dir.File(sName)); }
  bool Exists(const std::string& sName) { return FileExists(Dir.File(sName)); }
};

TEST_F(EndToEnd, TrueColourBitmapToHighColourSource) {
  PutImage("pic.bmp", MakeTestImage(40, 3, 0));
  EXPECT_EQ(Run({"pic.bmp", "-saveasout.c,1", "-exit"}), 0);
  std::string c = Read("out.c");
  EXPECT_EQ(c.rfind("/*****", 0), 0u);
  EXPECT_NE(c.find("* Source file: out\r\n* Dimensions:  40 * 3\r\n* NumColors:   0\r\n"), std::string::npos);
  EXPECT_NE(c.find("\r\nstatic OMRAK_CONST_STORAGE unsigned short acout[] = {\r\n  0x"), std::string::npos);
  EXPECT_NE(c.find("OMRAK_BITMAP bmout = {\r\n  40, /* XSize */\r\n  3, /* YSize */\r\n  80, /* BytesPerLine */\r\n"
                   "  16, /* BitsPerPixel */\r\n  (unsigned char *)acout,  /* Pointer to picture data */\r\n"
                   "  NULL  /* Pointer to palette */\r\n ,OMRAK_DRAW_BMP565\r\n};\r\n\r\n/* *** End of file *** */\r\n"),
            std::string::npos);
  EXPECT_FALSE(Exists("Zelmar.log"));
  EXPECT_EQ(Err, "");   /* not a terminal: no status lines */
}

TEST_F(EndToEnd, MissingFileLogsAndFails) {
  EXPECT_EQ(Run({"nothere.bmp", "-convertintorgb", "-exit"}), 1);
  EXPECT_EQ(Read("Zelmar.log"), "\r\nFile not found\r\n");
  EXPECT_EQ(Out.rfind("Commandline: Valid command line options:\n\n-convertintobw", 0), 0u);
}

TEST_F(EndToEnd, ReaderErrorAndOpenErrorBothLogged) {
  WriteFileBytes(Dir.File("pic.txt"), "hello");
  EXPECT_EQ(Run({"pic.txt", "-fliph", "-exit"}), 1);
  EXPECT_EQ(Read("Zelmar.log"), "\r\nUnsupported file type\r\nError opening file\r\n");
}

TEST_F(EndToEnd, HelpGoesToStandardOutput) {
  EXPECT_EQ(Run({"-?"}), 0);
  EXPECT_NE(Out.find("-exit\t\t\tTerminate PC-programm automatically\n"), std::string::npos);
  EXPECT_EQ(Err, "");
}

TEST_F(EndToEnd, InvalidOptionIsToldAndTheRunGoesOn) {
  PutImage("pic.bmp", MakeTestImage(4, 4, 16));
  EXPECT_EQ(Run({"pic.bmp", "-rotate90", "-saveasout.c,1", "-exit"}), 0);
  EXPECT_EQ(Err, "Error: \"rotate90\" is not a valid command !\n");
  EXPECT_NE(Read("out.c").find("  4, /* BitsPerPixel */"), std::string::npos);
  EXPECT_FALSE(Exists("Zelmar.log"));
}

TEST_F(EndToEnd, ErrorWithoutExitShowsAndLogsThenEnds) {
  PutImage("pic.bmp", MakeTestImage(4, 4, 16));
  EXPECT_EQ(Run({"pic.bmp", "-saveasout.c,4", "-saveasok.c,1"}), 1);
  EXPECT_EQ(Err, "Zelmar: TYPE has to be between 1 and 3!\n");
  EXPECT_EQ(Read("Zelmar.log"), "\r\nTYPE has to be between 1 and 3!\r\n");
  EXPECT_FALSE(Exists("ok.c"));
}

TEST_F(EndToEnd, OldLogStaysWhenNothingFails) {
  WriteFileBytes(Dir.File("Zelmar.log"), "old");
  PutImage("pic.bmp", MakeTestImage(4, 4, 2));
  EXPECT_EQ(Run({"pic.bmp", "-saveasout.c,1", "-exit"}), 0);
  EXPECT_EQ(Read("Zelmar.log"), "old");
  EXPECT_NE(Read("out.c").find("  1, /* BitsPerPixel */"), std::string::npos);
}

TEST_F(EndToEnd, HighColourSaveRestoresThePaletteImage) {
  PutImage("pic.bmp", MakeTestImage(5, 2, 16));
  EXPECT_EQ(Run({"pic.bmp", "-saveashc.c,1,8", "-saveaspal.c,1", "-exit"}), 0);
  EXPECT_NE(Read("hc.c").find("* NumColors:   0"), std::string::npos);
  EXPECT_NE(Read("hc.c").find("  10, /* BytesPerLine */"), std::string::npos);
  EXPECT_NE(Read("pal.c").find("* NumColors:   16"), std::string::npos);
}

TEST_F(EndToEnd, SaveArgumentErrors) {
  struct { const char* sOpt; int NumColors; const char* sLog; } a[] = {
    { "-saveasout.c,1,1", 3, "\r\nFORMAT does not fit to bitmap!\r\n" },
    { "-saveasout.c,1,5,0", 3, "\r\nNOPALETTE must be set to 1!\r\n" },
    { "-saveasout.c,1,5,", 3, "\r\nNOPALETTE must be set to 1!\r\n" },
    { "-saveasout.c,1,9", 3, "\r\nFORMAT has to be between 1 and 8!\r\n" },
    { "-saveasout.c", 3, "\r\nSeparator has to be ,\r\n" },
    { "-saveas", 3, "\r\nCMDLINE_GetString: Missing string\r\nSeparator has to be ,\r\n" },
    { "-saveasout.c,1,1", 0, "\r\nFORMAT does not fit to bitmap!\r\n" },
  };
  for (auto& t : a) {
    TempDir d;
    IMAGE* p = MakeTestImage(3, 3, t.NumColors);
    WriteFileBytes(d.File("pic.bmp"), MakeBMP(p));
    IMAGE_Free(p);
    EXPECT_EQ(RunZelmar(d.Path, {"pic.bmp", t.sOpt, "-exit"}), 1) << t.sOpt;
    EXPECT_EQ(ReadFileBytes(d.File("Zelmar.log")), t.sLog) << t.sOpt;
    EXPECT_FALSE(FileExists(d.File("out.c")));
  }
}

TEST_F(EndToEnd, SaveWithoutImageAndLongFormatDigits) {
  EXPECT_EQ(Run({"-saveasout.c,1", "-exit"}), 1);
  EXPECT_EQ(Read("Zelmar.log"), "\r\nNo file open!\r\n");
  PutImage("pic.bmp", MakeTestImage(9, 1, 2));
  /* "12" is format 1 followed by a character that is no comma */
  EXPECT_EQ(Run({"pic.bmp", "-saveasout.c,1,12", "-exit"}), 0);
  EXPECT_NE(Read("out.c").find("  1, /* BitsPerPixel */"), std::string::npos);
  EXPECT_EQ(Run({"pic.bmp", "-saveasnp.c,1,5,1", "-exit"}), 0);
  EXPECT_NE(Read("np.c").find("\r\n#if 0\r\n"), std::string::npos);
}

TEST_F(EndToEnd, NoArgumentsEndsQuietly) {
  EXPECT_EQ(Run({}), 0);
  EXPECT_EQ(Out, "");
  EXPECT_EQ(Err, "");
}

TEST_F(EndToEnd, BundledSampleConverts) {
  std::string Sample = std::string(ZELMAR_SOURCE_DIR) + "/samples/zelmar-logo.bmp";
  EXPECT_EQ(Run({Sample, "-saveaslogo.c,1", "-exit"}), 0);
  std::string c = Read("logo.c");
  EXPECT_NE(c.find("* Dimensions:  96 * 48\r\n"), std::string::npos);
  EXPECT_NE(c.find("OMRAK_BITMAP bmlogo = {"), std::string::npos);
}
