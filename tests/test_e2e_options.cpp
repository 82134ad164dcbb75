/* Every option of the command line, run as a build script runs it. */
#include <gtest/gtest.h>

#include "testutil.h"

namespace {

struct BatchRun {
  TempDir Dir;
  std::string Out, Err;
  int Code = -1;
  BatchRun(IMAGE* pImage, const std::vector<std::string>& aOptions) {
    WriteFileBytes(Dir.File("pic.bmp"), MakeBMP(pImage));
    IMAGE_Free(pImage);
    std::vector<std::string> aArgs{"pic.bmp"};
    aArgs.insert(aArgs.end(), aOptions.begin(), aOptions.end());
    aArgs.push_back("-exit");
    Code = RunZelmar(Dir.Path, aArgs, &Out, &Err);
  }
  std::string Read(const std::string& sName) const { return ReadFileBytes(Dir.File(sName)); }
  std::string Log() const { return Read("Zelmar.log"); }
};

bool Has(const std::string& s, const std::string& sPart) { return s.find(sPart) != std::string::npos; }

std::string Banner(int XSize, int YSize, int NumColors) {
  return "* Dimensions:  " + std::to_string(XSize) + " * " + std::to_string(YSize) +
         "\r\n* NumColors:   " + std::to_string(NumColors) + "\r\n";
}

}  // namespace

TEST(Options, FixedPalettesGiveTheirSizes) {
  struct { const char* sOption; int NumColors; } a[] = {
    { "-convertintobw", 2 },      { "-convertintogray4", 4 },  { "-convertintogray16", 16 },
    { "-convertintogray64", 64 }, { "-convertintogray256", 256 }, { "-convertinto111", 8 },
    { "-convertinto222", 64 },    { "-convertinto233", 256 },  { "-convertinto323", 256 },
    { "-convertinto332", 256 },   { "-convertinto8666", 256 },
  };
  for (auto& t : a) {
    BatchRun r(MakeTestImage(7, 5, 0), {t.sOption, "-saveasout.c,1"});
    EXPECT_EQ(r.Code, 0) << t.sOption;
    EXPECT_TRUE(Has(r.Read("out.c"), Banner(7, 5, t.NumColors))) << t.sOption;
  }
}

TEST(Options, RgbAndBestPalette) {
  BatchRun r(MakeTestImage(16, 4, 16), {"-convertintorgb", "-saveasrgb.c,1", "-convertintobestpalette", "-saveasbest.c,1"});
  EXPECT_EQ(r.Code, 0);
  EXPECT_TRUE(Has(r.Read("rgb.c"), Banner(16, 4, 0)));
  EXPECT_TRUE(Has(r.Read("best.c"), Banner(16, 4, 16)));
  EXPECT_EQ(r.Err, "");   /* at most 256 colours: no question */
}

TEST(Options, BestPaletteAsksAndTakesTheDefaultWithoutATerminal) {
  BatchRun r(MakeTestImage(40, 20, 0), {"-convertintobestpalette", "-saveasbest.c,1"});
  EXPECT_EQ(r.Code, 0);
  EXPECT_TRUE(Has(r.Err, "Warning: This bitmap contains more than 256 colors.\n"));
  EXPECT_TRUE(Has(r.Err, "answered Yes"));
  EXPECT_TRUE(Has(r.Read("best.c"), Banner(40, 20, 256)));
}

TEST(Options, GeometryAndInversion) {
  BatchRun r(MakeTestImage(7, 3, 4), {"-fliph", "-flipv", "-rotate90cw", "-saveascw.c,1", "-rotate90ccw",
                                  "-rotate180", "-invertindices", "-invertpalette", "-saveasend.c,1"});
  EXPECT_EQ(r.Code, 0) << r.Log();
  EXPECT_TRUE(Has(r.Read("cw.c"), Banner(3, 7, 4)));
  EXPECT_TRUE(Has(r.Read("end.c"), Banner(7, 3, 4)));
}

TEST(Options, TransparencyMarksThePalette) {
  IMAGE* p = MakeTestImage(4, 2, 4);
  char ac[20];
  snprintf(ac, sizeof(ac), "-transparency%.6X", IMAGE_GetColor(p, 2));
  BatchRun r(p, {ac, "-saveasout.c,1"});
  EXPECT_EQ(r.Code, 0) << r.Log();
  EXPECT_TRUE(Has(r.Read("out.c"), "  1, \t/* Has transparency */\r\n"));
  BatchRun NotFound(MakeTestImage(4, 2, 4), {"-transparency123457", "-saveasout.c,1"});
  EXPECT_EQ(NotFound.Code, 1);
  EXPECT_EQ(NotFound.Log(), "\r\nColor not found in image\r\n");
  BatchRun TrueColour(MakeTestImage(4, 2, 0), {"-transparency000000"});
  EXPECT_EQ(TrueColour.Log(), "\r\nNo palette, can not create transparency\r\n");
}

TEST(Options, CustomPalette) {
  TempDir d;
  std::string Pal = "OmrakPal";
  Put32(Pal, 3);
  Put32(Pal, 0);
  Put32(Pal, 0x000000);
  Put32(Pal, 0x0000FF);
  Put32(Pal, 0xFFFFFF);
  std::string sPal = d.File("three.OmrakPal");
  WriteFileBytes(sPal, Pal);
  BatchRun r(MakeTestImage(5, 5, 0), {"-convertintocustompalette" + sPal, "-saveasout.c,1"});
  EXPECT_EQ(r.Code, 0) << r.Log();
  std::string c = r.Read("out.c");
  EXPECT_TRUE(Has(c, Banner(5, 5, 3)));
  EXPECT_TRUE(Has(c, "\r\n     0x000000,0x0000FF,0xFFFFFF\r\n};"));
  BatchRun Missing(MakeTestImage(5, 5, 0), {"-convertintocustompalettenone.OmrakPal", "-saveasout.c,1"});
  EXPECT_EQ(Missing.Code, 1);
  EXPECT_EQ(Missing.Log(), "\r\nInvalid file handle\r\n");
}

TEST(Options, CommandsWithoutAnImage) {
  TempDir d;
  EXPECT_EQ(RunZelmar(d.Path, {"-convertintobw", "-exit"}), 1);
  EXPECT_EQ(ReadFileBytes(d.File("Zelmar.log")), "\r\nInternal error : pBitmapOrg == NULL\r\n");
  TempDir e;
  EXPECT_EQ(RunZelmar(e.Path, {"-fliph", "-exit"}), 1);
  EXPECT_EQ(ReadFileBytes(e.File("Zelmar.log")), "\r\nNo file open!\r\n");
}

TEST(Options, OtherFileTypesAndRunLengthFormats) {
  BatchRun r(MakeTestImage(9, 4, 16), {"-saveasout.bmp,2,9", "-saveasrle4.c,1,6", "-saveasrle8.c,1,7,1", "-saveashc.c,1,8"});
  EXPECT_EQ(r.Code, 0) << r.Log();
  std::string b = r.Read("out.bmp");
  ASSERT_GE(b.size(), 30u);
  EXPECT_EQ(b.substr(0, 2), "BM");
  EXPECT_EQ((unsigned char)b[28], 4);   /* 16 colours leave at 4 bits per pixel */
  EXPECT_TRUE(Has(r.Read("rle4.c"), "  OMRAK_COMPRESS_RLE4, /* BitsPerPixel */"));
  EXPECT_TRUE(Has(r.Read("rle8.c"), "\r\n#if 0\r\n"));
  EXPECT_TRUE(Has(r.Read("rle8.c"), " ,OMRAK_DRAW_RLE8\r\n};"));
  EXPECT_TRUE(Has(r.Read("hc.c"), " ,OMRAK_DRAW_BMP565\r\n};"));
}

TEST(Options, SavedBitmapOpensAgain) {
  BatchRun r(MakeTestImage(9, 4, 3), {"-saveasout.bmp,2"});
  ASSERT_EQ(r.Code, 0);
  TempDir d;
  WriteFileBytes(d.File("again.bmp"), r.Read("out.bmp"));
  EXPECT_EQ(RunZelmar(d.Path, {"again.bmp", "-saveasout.c,1", "-exit"}), 0);
  EXPECT_TRUE(Has(ReadFileBytes(d.File("out.c")), Banner(9, 4, 3)));
}
