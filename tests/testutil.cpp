#include "testutil.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

static ReportCatcher* _pCatcher;

static void _OnError(const char* s)  { if (_pCatcher) _pCatcher->Errors.push_back(s); }
static void _OnStatus(const char* s) { if (_pCatcher) _pCatcher->Status.push_back(s); }

ReportCatcher::ReportCatcher() {
  _pCatcher = this;
  IMAGE_SetHooks(_OnStatus, _OnError, "3.96");
}

ReportCatcher::~ReportCatcher() {
  IMAGE_SetHooks(nullptr, nullptr, nullptr);
  _pCatcher = nullptr;
}

void ReportCatcher::Clear() {
  Errors.clear();
  Status.clear();
}

TempDir::TempDir() {
  char ac[] = "/tmp/zelmar-test-XXXXXX";
  if (mkdtemp(ac) == NULL) {
    /* Never fall back to a shared folder: the tests write and delete here. */
    fprintf(stderr, "cannot create a temporary folder\n");
    abort();
  }
  Path = ac;
}

TempDir::~TempDir() {
  std::string Cmd = "rm -rf '" + Path + "'";
  int r = system(Cmd.c_str());
  (void)r;
}

std::string ReadFileBytes(const std::string& sPath) {
  std::ifstream f(sPath, std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

void WriteFileBytes(const std::string& sPath, const std::string& Bytes) {
  std::ofstream f(sPath, std::ios::binary);
  f.write(Bytes.data(), (std::streamsize)Bytes.size());
}

bool FileExists(const std::string& sPath) {
  struct stat st;
  return stat(sPath.c_str(), &st) == 0;
}

int RunZelmar(const std::string& sDir, const std::vector<std::string>& aArgs,
              std::string* pStdout, std::string* pStderr) {
  TempDir Capture;
  std::string sOut = Capture.File("stdout");
  std::string sErr = Capture.File("stderr");
  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(sDir.c_str()) != 0) _exit(127);
    int fdIn  = open("/dev/null", O_RDONLY);
    int fdOut = open(sOut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int fdErr = open(sErr.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fdIn, 0);
    dup2(fdOut, 1);
    dup2(fdErr, 2);
    std::vector<char*> av;
    av.push_back((char*)ZELMAR_BINARY);
    for (const std::string& s : aArgs) av.push_back((char*)s.c_str());
    av.push_back(nullptr);
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    execv(ZELMAR_BINARY, av.data());
    _exit(127);
  }
  int Status = 0;
  waitpid(pid, &Status, 0);
  if (pStdout) *pStdout = ReadFileBytes(sOut);
  if (pStderr) *pStderr = ReadFileBytes(sErr);
  return WIFEXITED(Status) ? WEXITSTATUS(Status) : 128 + WTERMSIG(Status);
}

void Put16(std::string& s, unsigned v) {
  s += (char)(v & 0xFF);
  s += (char)((v >> 8) & 0xFF);
}

void Put32(std::string& s, unsigned v) {
  Put16(s, v & 0xFFFF);
  Put16(s, v >> 16);
}

std::string MakeBMP(const IMAGE* pImage) {
  int NumColors = pImage->NumColors;
  int Bits = NumColors ? 8 : 24;
  int Stride = (pImage->XSize * Bits + 31) / 32 * 4;
  std::string Dib;
  Put32(Dib, 40);
  Put32(Dib, (unsigned)pImage->XSize);
  Put32(Dib, (unsigned)pImage->YSize);
  Put16(Dib, 1);
  Put16(Dib, (unsigned)Bits);
  Put32(Dib, 0);
  Put32(Dib, (unsigned)(Stride * pImage->YSize));
  Put32(Dib, 0);
  Put32(Dib, 0);
  Put32(Dib, (unsigned)NumColors);
  Put32(Dib, 0);
  for (int i = 0; i < NumColors; i++) {
    unsigned c = IMAGE_GetColor(pImage, i);
    Dib += (char)(c >> 16);
    Dib += (char)(c >> 8);
    Dib += (char)c;
    Dib += (char)0;
  }
  for (int y = pImage->YSize - 1; y >= 0; y--) {
    std::string Row;
    for (int x = 0; x < pImage->XSize; x++) {
      unsigned v = IMAGE_GetPixel(pImage, x, y);
      if (Bits == 8) {
        Row += (char)v;
      } else {
        Row += (char)(v >> 16);
        Row += (char)(v >> 8);
        Row += (char)v;
      }
    }
    Row.resize((size_t)Stride, '\0');
    Dib += Row;
  }
  std::string File = "BM";
  Put32(File, (unsigned)(14 + Dib.size()));
  Put32(File, 0);
  Put32(File, (unsigned)(14 + 40 + 4 * NumColors));
  return File + Dib;
}

IMAGE* MakeTestImage(int XSize, int YSize, int NumColors) {
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
  for (int i = 0; i < NumColors; i++) {
    IMAGE_SetColor(pImage, i, (unsigned)(i * 0x10101 * 7 + i * 13) & 0xFFFFFF);
  }
  for (int y = 0; y < YSize; y++) {
    for (int x = 0; x < XSize; x++) {
      unsigned v = NumColors ? (unsigned)((x + 3 * y) % NumColors)
                             : ((unsigned)(x * 37) & 0xFF) | ((unsigned)(y * 11) & 0xFF) << 8 | ((unsigned)(x ^ y) & 0xFF) << 16;
      IMAGE_SetPixel(pImage, x, y, v);
    }
  }
  return pImage;
}

#include "app/main.h"
#include "platform/plat.h"

static FakeFrontEnd* _pFake;

/* The modules run connected as start-up connects them. */
[[maybe_unused]] static const int _IsConnected = (MAIN_ConnectLayers(), 1);

static int _FakeBox(const char* sText, const char* sTitle, int Icon, int Buttons, int DefaultId) {
  _pFake->Boxes.push_back({sText, sTitle ? sTitle : "(null)", Icon, Buttons});
  return Buttons == PLAT_BUTTONS_YESNO ? _pFake->Answer : DefaultId;
}
static void _FakeSend(unsigned Id) { if (_pFake->IsWindowAlive) MAIN_OnWindowCommand(Id); }
static int  _FakeAlive(void) { return _pFake->IsWindowAlive; }
static void _FakeDestroy(void) { _pFake->IsWindowAlive = false; }
static void _FakeRefresh(void) { _pFake->NumRefresh++; }

static int _FakeOpenFile(char* pBuffer, int MaxLen, const char* sTitle, const PLAT_FILTER*, int, int) {
  _pFake->DialogTitle = sTitle;
  if (_pFake->FileAnswer.empty() || (int)_pFake->FileAnswer.size() > MaxLen) return 0;
  snprintf(pBuffer, (size_t)MaxLen + 1, "%s", _pFake->FileAnswer.c_str());
  return 1;
}

static int _FakeChoose(const char* sTitle, const char*, const char* const* asItem, int NumItems, int InitialSel) {
  _pFake->DialogTitle = sTitle;
  _pFake->ListItems.assign(asItem, asItem + NumItems);
  _pFake->ListInitialSel = InitialSel;
  return _pFake->ListAnswer;
}

static const PLAT_FRONTEND _FakeTable = {
  _FakeBox, _FakeSend, _FakeAlive, _FakeDestroy, _FakeRefresh, nullptr, nullptr, nullptr,
  _FakeOpenFile, _FakeChoose, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
};

FakeFrontEnd::FakeFrontEnd() {
  _pFake = this;
  PLAT_SetFrontEnd(&_FakeTable);
}

FakeFrontEnd::~FakeFrontEnd() {
  PLAT_SetFrontEnd(nullptr);
  _pFake = nullptr;
}
