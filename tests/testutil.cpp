#include "testutil.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <signal.h>
#include <unistd.h>
#ifdef _WIN32
#include <windows.h>
#else
#include <sys/resource.h>
#include <sys/wait.h>
#endif

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "app/main.h"
#include "input/loader.h"
#include "output/save.h"
#include "platform/plat.h"

static ReportCatcher* _pCatcher;

static void _OnError(const char* s) { if (_pCatcher) _pCatcher->Errors.push_back(s); }
static void _OnStatus(const char* s) { if (_pCatcher) _pCatcher->Status.push_back(s); }

ReportCatcher::ReportCatcher() {
  _pCatcher = this;
  IMAGE_SetHooks(_OnStatus, _OnError, "3.96");
}

void ReportCatcher::Clear() {
  Errors.clear();
  Status.clear();
}

ReportCatcher::~ReportCatcher() {
  IMAGE_SetHooks(nullptr, nullptr, nullptr);
  _pCatcher = nullptr;
}

TempDir::TempDir() {
#ifdef _WIN32
  static unsigned _Count;
  std::error_code e;
  std::string sBase = std::filesystem::temp_directory_path(e).generic_string() + "zelmar-test-";
  for (unsigned Try = 0; Path.empty() && Try < 100; Try++) {
    std::string s = sBase + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(_Count++);
    if (std::filesystem::create_directory(s, e)) Path = s;
  }
  if (Path.empty()) {
#else
  char ac[] = "/tmp/zelmar-test-XXXXXX";
  if (mkdtemp(ac) != NULL) Path = ac;
  else {
#endif
    /* Never fall back to a shared folder: the tests write and delete here. */
    fprintf(stderr, "cannot create a temporary folder\n");
    abort();
  }
}

TempDir::~TempDir() {
  std::error_code e;
  std::filesystem::remove_all(std::filesystem::u8path(Path), e);
}

std::string ReadFileBytes(const std::string& sPath) {
  std::ifstream f(std::filesystem::u8path(sPath), std::ios::binary);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

void WriteFileBytes(const std::string& sPath, const std::string& Bytes) {
  std::ofstream f(std::filesystem::u8path(sPath), std::ios::binary);
  f.write(Bytes.data(), (std::streamsize)Bytes.size());
}

bool FileExists(const std::string& sPath) {
  struct stat st;
  return stat(sPath.c_str(), &st) == 0;
}

std::string Golden(const std::string& sName, const std::string& Actual) {
  std::string sPath = std::string(ZELMAR_SOURCE_DIR) + "/tests/golden/" + sName;
  if (getenv("ZELMAR_UPDATE_GOLDEN")) WriteFileBytes(sPath, Actual);
  return ReadFileBytes(sPath);
}

#ifdef _WIN32
/* Running processes by their id. */
static std::map<pid_t, HANDLE> _aProcess;

static std::wstring _Wide(const std::string& s) {
  return std::filesystem::u8path(s).wstring();
}

/* One argument of a command line as the C library takes it apart. */
static std::wstring _Quote(const std::wstring& s) {
  if (!s.empty() && s.find_first_of(L" \t\"") == std::wstring::npos) return s;
  std::wstring q = L"\"";
  for (size_t i = 0;; i++) {
    size_t NumSlashes = 0;
    while (i < s.size() && s[i] == L'\\') { i++; NumSlashes++; }
    if (i == s.size()) { q.append(NumSlashes * 2, L'\\'); break; }
    if (s[i] == L'"') q.append(NumSlashes * 2 + 1, L'\\');
    else q.append(NumSlashes, L'\\');
    q += s[i];
  }
  return q + L"\"";
}

/* No size limit for files on this system: MaxFileSize is ignored. */
pid_t StartZelmar(const std::string& sDir, const std::vector<std::string>& aArgs, long,
                  const std::string& sOut, const std::string& sErr, const std::string&) {
  std::wstring sCmd = _Quote(_Wide(ZelmarProgram));
  for (const std::string& s : aArgs) sCmd += L" " + _Quote(_Wide(s));
  SECURITY_ATTRIBUTES Inherit = { sizeof(Inherit), NULL, TRUE };
  auto Open = [&](const std::string& s, bool IsOut) {
    std::wstring w = (s == "/dev/null") ? L"NUL" : _Wide(s);
    return CreateFileW(w.c_str(), IsOut ? GENERIC_WRITE : GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &Inherit,
                       IsOut ? CREATE_ALWAYS : OPEN_EXISTING, 0, NULL);
  };
  STARTUPINFOW Start = {};
  Start.cb         = sizeof(Start);
  Start.dwFlags    = STARTF_USESTDHANDLES;
  Start.hStdInput  = Open("/dev/null", false);
  Start.hStdOutput = Open(sOut, true);
  Start.hStdError  = Open(sErr, true);
  PROCESS_INFORMATION Info;
  /* Wine, freshly started, now and then fails to start one of many
   * programs started at once: a few tries. */
  BOOL IsStarted = FALSE;
  for (int Try = 0; Try < 5 && !IsStarted; Try++) {
    if (Try) Sleep(200);
    IsStarted = CreateProcessW(NULL, &sCmd[0], NULL, NULL, TRUE, 0, NULL, _Wide(sDir).c_str(), &Start, &Info);
  }
  CloseHandle(Start.hStdInput);
  CloseHandle(Start.hStdOutput);
  CloseHandle(Start.hStdError);
  if (!IsStarted) return -1;
  CloseHandle(Info.hThread);
  _aProcess[(pid_t)Info.dwProcessId] = Info.hProcess;
  return (pid_t)Info.dwProcessId;
}

const char* ZelmarProgram = ZELMAR_BINARY;

int WaitZelmar(pid_t pid) {
  auto it = _aProcess.find(pid);
  if (it == _aProcess.end()) return 127;
  DWORD Code = 127;
  WaitForSingleObject(it->second, INFINITE);
  GetExitCodeProcess(it->second, &Code);
  CloseHandle(it->second);
  _aProcess.erase(it);
  return (int)Code;
}
#else
pid_t StartZelmar(const std::string& sDir, const std::vector<std::string>& aArgs, long MaxFileSize,
                  const std::string& sOut, const std::string& sErr, const std::string& sIn) {
  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(sDir.c_str()) != 0) _exit(127);
    if (MaxFileSize >= 0) {
      struct rlimit Limit = { (rlim_t)MaxFileSize, (rlim_t)MaxFileSize };
      setrlimit(RLIMIT_FSIZE, &Limit);
      signal(SIGXFSZ, SIG_IGN);
    }
    int fdIn  = open(sIn.empty() ? "/dev/null" : sIn.c_str(), O_RDONLY);
    int fdOut = open(sOut.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    int fdErr = open(sErr.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(fdIn, 0);
    dup2(fdOut, 1);
    dup2(fdErr, 2);
    if (sIn.empty()) close(0);   /* no standard input at all */
    std::vector<char*> av;
    av.push_back((char*)ZelmarProgram);
    for (const std::string& s : aArgs) av.push_back((char*)s.c_str());
    av.push_back(nullptr);
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    execv(ZelmarProgram, av.data());
    _exit(127);
  }
  return pid;
}

const char* ZelmarProgram = ZELMAR_BINARY;

int WaitZelmar(pid_t pid) {
  int Status = 0;
  waitpid(pid, &Status, 0);
  return WIFEXITED(Status) ? WEXITSTATUS(Status) : 128 + WTERMSIG(Status);
}
#endif

void Put16(std::string& s, unsigned v) {
  s += (char)(v & 0xFF);
  s += (char)((v >> 8) & 0xFF);
}

void Put32(std::string& s, unsigned v) {
  Put16(s, v & 0xFFFF);
  Put16(s, v >> 16);
}

IMAGE* RandomImage(int XSize, int YSize, int NumColors, unsigned Seed, unsigned NumDistinct) {
  std::mt19937 Random(Seed);
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
  for (int i = 0; i < NumColors; i++) IMAGE_SetColor(pImage, i, Random() & 0xFFFFFF);
  std::vector<unsigned> aValue;
  for (unsigned i = 0; i < (NumDistinct ? NumDistinct : 1); i++) aValue.push_back(Random() & 0xFFFFFF);
  for (int y = 0; y < YSize; y++) {
    for (int x = 0; x < XSize; x++) {
      unsigned v = NumDistinct ? aValue[Random() % NumDistinct] : Random() & 0xFFFFFF;
      IMAGE_SetPixel(pImage, x, y, NumColors ? v % (unsigned)NumColors : v);
    }
  }
  return pImage;
}

std::string Diff(const IMAGE* pA, const IMAGE* pB, bool ByColor) {
  char ac[120];
  if (pA == nullptr || pB == nullptr) return "no image";
  if (pA->XSize != pB->XSize || pA->YSize != pB->YSize) {
    snprintf(ac, sizeof(ac), "size %d*%d against %d*%d", pA->XSize, pA->YSize, pB->XSize, pB->YSize);
    return ac;
  }
  if (!ByColor) {
    if (pA->NumColors != pB->NumColors || pA->HasTrans != pB->HasTrans) return "palette size or flag";
    for (int i = 0; i < pA->NumColors; i++) {
      if (IMAGE_GetColor(pA, i) != IMAGE_GetColor(pB, i)) return "palette entry " + std::to_string(i);
    }
  }
  for (int y = 0; y < pA->YSize; y++) {
    for (int x = 0; x < pA->XSize; x++) {
      unsigned a = ByColor ? IMAGE_GetPixelColor(pA, x, y) : IMAGE_GetPixel(pA, x, y);
      unsigned b = ByColor ? IMAGE_GetPixelColor(pB, x, y) : IMAGE_GetPixel(pB, x, y);
      if (a != b) {
        snprintf(ac, sizeof(ac), "pixel %d,%d: %06X against %06X", x, y, a, b);
        return ac;
      }
    }
  }
  return "";
}

IMAGE* LoadPath(const std::string& sPath, int Type) {
  PLAT_FILE* hFile = PLAT_OpenRead(sPath.c_str(), nullptr);
  IMAGE* pImage = hFile ? IMAGE_LoadFile(hFile, Type) : nullptr;
  PLAT_Close(hFile);
  return pImage;
}

IMAGE* LoadBytes(const std::string& Bytes, int Type) {
  TempDir Dir;
  WriteFileBytes(Dir.File("in"), Bytes);
  return LoadPath(Dir.File("in"), Type);
}

int ColorDist(unsigned a, unsigned b) {
  int d = 0;
  for (int s = 0; s < 24; s += 8) d += ((int)(a >> s & 255) - (int)(b >> s & 255)) * ((int)(a >> s & 255) - (int)(b >> s & 255));
  return d;
}

std::string SaveBytes(IMAGE** ppImage, int Type, int Format, int NoPalette, const std::string& sName) {
  TempDir Dir;
  SAVEFORMAT Choice = { Format, NoPalette };
  PLAT_FILE* hFile = PLAT_CreateWrite(Dir.File("out").c_str());
  *ppImage = IMAGE_SaveFile(*ppImage, hFile, Type, sName.c_str(), &Choice);
  PLAT_Close(hFile);
  return ReadFileBytes(Dir.File("out"));
}

static FakeFrontEnd* _pFake;

/* The modules run connected as start-up connects them. */
[[maybe_unused]] static const int _IsConnected = (MAIN_ConnectLayers(), 1);

static int _FakeBox(const char* sText, const char* sTitle, int, int, int DefaultId) {
  _pFake->Boxes.push_back(sText);
  _pFake->Titles.push_back(sTitle ? sTitle : "");
  return DefaultId;
}

static int _FakeList(const char*, const char*, const char* const*, int, int) { return _pFake->ListAnswer; }

static void _FakeRepaint(void) { _pFake->NumRepaints++; }

static PLAT_FRONTEND _FakeTable;

FakeFrontEnd::FakeFrontEnd() {
  _pFake = this;
  _FakeTable.pfMessageBox = _FakeBox;
  _FakeTable.pfChooseFromList = nullptr;
  _FakeTable.pfInvalidateWindow = _FakeRepaint;
  PLAT_SetFrontEnd(&_FakeTable);
}

void FakeFrontEnd::AnswerLists(int Row) {
  ListAnswer = Row;
  _FakeTable.pfChooseFromList = _FakeList;
}

FakeFrontEnd::~FakeFrontEnd() {
  PLAT_SetFrontEnd(nullptr);
  IMAGE_SetHooks(nullptr, nullptr, nullptr);
  _pFake = nullptr;
}

std::string FakeFrontEnd::Texts() const {
  std::string s;
  for (const std::string& b : Boxes) s += b + "\n";
  return s;
}

IMAGE* MakeTestImage(int XSize, int YSize, int NumColors) {
  IMAGE* pImage = IMAGE_Create(XSize, YSize, NumColors);
  for (int i = 0; i < NumColors; i++) IMAGE_SetColor(pImage, i, (unsigned)(i * 0x10101 * 7 + i * 13) & 0xFFFFFF);
  for (int y = 0; y < YSize; y++) {
    for (int x = 0; x < XSize; x++) {
      unsigned v = NumColors ? (unsigned)((x + 3 * y) % NumColors)
                             : ((unsigned)(x * 37) & 0xFF) | ((unsigned)(y * 11) & 0xFF) << 8 | ((unsigned)(x ^ y) & 0xFF) << 16;
      IMAGE_SetPixel(pImage, x, y, v);
    }
  }
  return pImage;
}

std::string MakeBMPFile(int XSize, int YSize, int Bits, int Compression, const std::vector<U32>& aColor,
                        const std::string& Pixels, int HeaderSize) {
  std::string s;
  for (int v : {HeaderSize, XSize, YSize, 1 | Bits << 16, Compression, (int)Pixels.size(), 0, 0, (int)aColor.size(), 0}) Put32(s, (unsigned)v);
  s.resize((size_t)HeaderSize, '\0');
  for (U32 c : aColor) Put32(s, (c & 0xFF) << 16 | (c & 0xFF00) | (c >> 16 & 0xFF));
  std::string File = "BM";
  for (size_t v : {14 + s.size() + Pixels.size(), (size_t)0, 14 + s.size()}) Put32(File, (unsigned)v);
  return File + s + Pixels;
}

std::string HexBytes(const std::string& sHex) {
  std::string s;
  for (size_t i = 0; i + 1 < sHex.size(); i += 3) s += (char)std::stoi(sHex.substr(i, 2), nullptr, 16);
  return s;
}

std::string MakeBMP(const IMAGE* pImage) {
  std::string Dib((size_t)IMAGE_GetDIBSize(pImage), '\0');
  IMAGE_WriteDIB(pImage, (U8*)&Dib[0]);
  std::string s = "BM";
  Put32(s, (unsigned)(14 + Dib.size()));
  Put32(s, 0);
  Put32(s, (unsigned)(14 + 40 + IMAGE_GetColorTableSize(pImage)));
  return s + Dib;
}
