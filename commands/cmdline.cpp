/*
 * Command line and batch queue.
 *
 * The arguments are read once: a first argument without prefix names the
 * file to open, every option goes into the queue with the text behind its
 * name. Each timer tick then runs one entry by sending its command to the
 * main window. The first error of a batch stops the queue; a queued exit
 * then ends the program at the next tick.
 */
#include "cmdline.h"

#include <stdio.h>
#include <string.h>

#include "../core/msg.h"
#include "../platform/plat.h"

#define NUM_ENTRIES  20
#define ARG_LEN      200
#define HEX_LEN      11

typedef struct {
  const CMDLINE_OPTION* pOption;
  char                  acArg[ARG_LEN];
} CMDLINE_ENTRY;

#define SAVEAS_HELP \
  "\t\t\t<FILENAME>,<TYPE>[,<FORMAT>[,<NOPALETTE>]]> Saves file as <FILENAME>,\n" \
  "\t\t\tTYPE: 1-3 similar to file dialog,\n"                                      \
  "\t\t\t  1 - \"C\" bitmap file\n"                                                \
  "\t\t\t  2 - Windows Bitmap file\n"                                              \
  "\t\t\t  3 - \"C\" stream\n"                                                     \
  "\t\t\tFORMAT: (if TYPE == 1)\n"                                                 \
  "\t\t\t  1 - 1bpp, 2 - 2bpp, 3 - 4bpp, 4 - 8bpp\n"                               \
  "\t\t\t  5 - RLE4 compression, 6 - RLE8 compression\n"                           \
  "\t\t\t  7 - High color (565), 8 - High color (565), RB swapped\n"               \
  "\t\t\tNOPALETTE: 0 to save with palette (default)\n"                            \
  "\t\t\tNOPALETTE: 1 to save without palette"

static const CMDLINE_OPTION _aOption[] = {
  { "convertintobw",            0x800A, 0, "\t\tConvert to BW" },
  { "convertintogray4",         0x800B, 0, "\t\tConvert to Gray4" },
  { "convertintogray16",        0x800C, 0, "\t\tConvert to Gray16" },
  { "convertintogray64",        0x800D, 0, "\t\tConvert to Gray64" },
  { "convertintogray256",       0x800E, 0, "\tConvert to Gray256" },
  { "convertinto111",           0x8020, 0, "\t\tConvert to 111" },
  { "convertinto222",           0x800F, 0, "\t\tConvert to 222" },
  { "convertinto233",           0x8010, 0, "\t\tConvert to 233" },
  { "convertinto323",           0x8011, 0, "\t\tConvert to 323" },
  { "convertinto332",           0x8012, 0, "\t\tConvert to 332" },
  { "convertinto8666",          0x8013, 0, "\t\tConvert to 8666" },
  { "convertintorgb",           0x801D, 0, "\t\tConvert to RGB" },
  { "convertintobestpalette",   0x8022, 0, "\tConvert to best palette" },
  { "convertintocustompalette", 0x8023, 0, "\t<FILENAME> Convert to custom palette" },
  { "fliph",                    0x8018, 0, "\t\t\tFlips image horizontally" },
  { "flipv",                    0x8019, 0, "\t\t\tFlips image vertically" },
  { "rotate90cw",               0x801A, 0, "\t\tRotates image by 90 degrees clockwise" },
  { "rotate90ccw",              0x801B, 0, "\t\tRotates image by 90 degrees counter clockwise" },
  { "rotate180",                0x801C, 0, "\t\tRotates image by 180 degrees" },
  { "invertindices",            0x801E, 0, "\t\tInverts indices" },
  { "invertpalette",            0x801F, 0, "\t\tInverts palette entries" },
  { "saveas",                   0xE104, 0, SAVEAS_HELP },
  { "transparency",             0x8024, 0, "\t\t<RGB-COLOR> Sets image transparency" },
  { "exit",                     0xE141, 0, "\t\t\tTerminate PC-programm automatically" },
  { "help",                     0,      0, "\t\t\tDisplay this box" },
  { "?",                        0,      0, "\t\t\tDisplay this box" },
  /* Rows without a help text are left out of the help box, whose text
   * stays as it has always been; README.md documents them. */
  { "convertintooptimalpalette", 0x8026, 0, NULL },
  { "dither",                   0x8027, 0, NULL },
  { NULL,                       0,      0, NULL }
};

static CMDLINE_ENTRY   _aEntry[NUM_ENTRIES];
static int             _NumEntries;
static int             _NextEntry;
static int             _IsBatch;
static int             _ErrorOccured;
static int             _ExitQueued;
static unsigned        _ExitCommand;
static CMDLINE_PFEXEC* _pfExec;
static CMDLINE_PFOPEN* _pfOpen;
static char            _acTitle[100];
static char            _acLogFile[260];
static const char*     _pArg;
static const char*     _sFile;
/* Ticks are held back while the arguments are read and while a command
 * runs: a box shown then must not start or repeat a queue entry. */
static int             _IsBusy;

/*********************************************************************
*  Set-up
*/
void CMDLINE_SetOpenHook(CMDLINE_PFOPEN* pfOpen) {
  _pfOpen = pfOpen;
}

void CMDLINE_Init(const char* sTitle, const char* sLogFile, unsigned ExitCommand, CMDLINE_PFEXEC* pfExec) {
  if (sTitle) {
    snprintf(_acTitle, sizeof(_acTitle), "%s", sTitle);
  }
  if (sLogFile) {
    snprintf(_acLogFile, sizeof(_acLogFile), "%s", sLogFile);
  }
  _ExitCommand = ExitCommand;
  _pfExec      = pfExec;
  _NumEntries  = 0;
  _NextEntry   = 0;
  _IsBatch     = 0;
  _ErrorOccured = 0;
  _ExitQueued  = 0;
  _pArg        = NULL;
  _sFile       = NULL;
  _IsBusy      = 0;
}

const CMDLINE_OPTION* CMDLINE_GetOptionTable(void) {
  return _aOption;
}

/*********************************************************************
*  Help box
*/
void CMDLINE_ShowHelp(const CMDLINE_OPTION* aOption) {
  char ac[2000];
  size_t Len = (size_t)snprintf(ac, sizeof(ac), "Valid command line options:\r\n\r\n");
  for (const CMDLINE_OPTION* p = aOption; p->sName; p++) {
    if (Len < sizeof(ac) && p->sHelp) {
      Len += (size_t)snprintf(ac + Len, sizeof(ac) - Len, "-%s%s\r\n", p->sName, p->sHelp);
    }
  }
  PLAT_MessageBox(ac, "Commandline", PLAT_ICON_INFO, PLAT_BUTTONS_OK, PLAT_ID_OK);
}

/*********************************************************************
*  Parsing
*/
/* Refuses what the queue cannot hold. The refusal counts as an error of
 * the batch, so that a build script never goes on without the option. */
static void _RefuseOption(const char* sFormat, const char* sOption) {
  char ac[300];
  snprintf(ac, sizeof(ac), sFormat, sOption);
  _IsBatch = 1;
  MSG_Error(ac);
}

static void _Queue(const CMDLINE_OPTION* pOption, const char* sArg) {
  if (pOption->Command == _ExitCommand) {
    _ExitQueued = 1;   /* an exit is honoured even when the queue is full */
  }
  if (_NumEntries >= NUM_ENTRIES) {
    _RefuseOption("Too many options on the command line: \"%s\" is ignored", pOption->sName);
    return;
  }
  if (strlen(sArg) >= ARG_LEN) {
    _RefuseOption("Argument of option \"%s\" is too long", pOption->sName);
    return;
  }
  CMDLINE_ENTRY* pEntry = &_aEntry[_NumEntries];
  snprintf(pEntry->acArg, sizeof(pEntry->acArg), "%s", sArg);
  pEntry->pOption = pOption;
  _NumEntries++;
  _IsBatch = 1;
}

/* The first row whose whole name begins the option text, or null. */
static const CMDLINE_OPTION* _FindOption(const char* sOption, const CMDLINE_OPTION* aOption) {
  for (const CMDLINE_OPTION* p = aOption; p->sName; p++) {
    if (strncmp(sOption, p->sName, strlen(p->sName)) == 0) {
      return p;
    }
  }
  return NULL;
}

int CMDLINE_ParseOption(const char* sOption, const CMDLINE_OPTION* aOption) {
  const CMDLINE_OPTION* p = _FindOption(sOption, aOption);
  if (p) {
    if (p->Command == 0) {
      CMDLINE_ShowHelp(aOption);
    } else {
      _Queue(p, sOption + strlen(p->sName));
    }
    return 1;
  }
  char ac[300];
  snprintf(ac, sizeof(ac), "\"%.200s\" is not a valid command !", sOption);
  PLAT_MessageBox(ac, NULL, PLAT_ICON_WARNING, PLAT_BUTTONS_OK, PLAT_ID_OK);
  return 0;
}

void CMDLINE_ParseCommandLine(int argc, char** argv) {
  const char* sFile = NULL;
  if (argc < 2) {
    return;
  }
  _IsBusy = 1;
  for (int i = 1; i < argc; i++) {
    const char* s = argv[i];
    /* Here an absolute path begins with the slash that also introduces an
     * option: a first argument that names no option is the file. */
    int IsPath = (s[0] == '/' && i == 1 && _FindOption(s + 1, _aOption) == NULL);
    if ((s[0] == '-' || s[0] == '/') && !IsPath) {
      CMDLINE_ParseOption(s + 1, _aOption);
    } else if (i == 1) {
      sFile = s;
    }
    /* Any later argument without prefix has no meaning and is passed over. */
  }
  _sFile = sFile;
  if (sFile && _pfOpen) {
    if (!_pfOpen(sFile)) {
      CMDLINE_ShowHelp(_aOption);
    }
  }
  _IsBusy = 0;
}

/*********************************************************************
*  The queue
*/
void CMDLINE_Exec(void) {
  if (!_IsBatch || _IsBusy) {
    return;
  }
  _IsBusy = 1;
  if (_ErrorOccured) {
    if (_ExitQueued) {
      _pfExec(_ExitCommand, 0);
    }
  } else if (_NextEntry < _NumEntries) {
    CMDLINE_ENTRY* pEntry = &_aEntry[_NextEntry];
    _pArg = pEntry->acArg;
    _pfExec(pEntry->pOption->Command, pEntry->pOption->Param);
  }
  _IsBusy = 0;
}

void CMDLINE_CommandDone(void) {
  _NextEntry++;
  if (_NextEntry >= _NumEntries) {
    _IsBatch = 0;
  }
}

void CMDLINE_ExecCommand(unsigned Command, unsigned Param) {
  (void)Param;
  if (PLAT_WindowExists()) {
    PLAT_SendCommand(Command);
    CMDLINE_CommandDone();
  }
}

const char* CMDLINE_GetFileName(void) {
  return _sFile;
}

int CMDLINE_IsBatch(void) {
  return _IsBatch;
}

int CMDLINE_GetError(void) {
  return _ErrorOccured;
}

int CMDLINE_IsPending(void) {
  if (!_IsBatch) {
    return 0;
  }
  if (_ErrorOccured) {
    return _ExitQueued;
  }
  return _NextEntry < _NumEntries;
}

/*********************************************************************
*  Readers of the argument text
*/
int CMDLINE_GetChar(void) {
  if (_pArg == NULL || *_pArg == 0) {
    return 0;
  }
  return (unsigned char)*_pArg++;
}

void CMDLINE_GetString(char* pBuffer, int MaxLen) {
  int Len = 0;
  for (;;) {
    int c = CMDLINE_GetChar();
    if (c == 0) {
      break;
    }
    if (c == ',' && Len > 0) {
      _pArg--;   /* the caller reads the separator itself */
      break;
    }
    if (Len >= MaxLen) {
      MSG_Error("CMDLINE_GetString: String to long");
      pBuffer[0] = 0;
      return;
    }
    pBuffer[Len++] = (char)c;
  }
  pBuffer[Len] = 0;
  if (Len == 0) {
    MSG_Error("CMDLINE_GetString: Missing string");
  }
}

int CMDLINE_GetHexValue(void) {
  char ac[HEX_LEN + 1];
  int  Len = 0;
  for (;;) {
    int c = CMDLINE_GetChar();
    if (c == 0) {
      break;
    }
    if (strchr("01234567890abcdefABCDEF-,", c) == NULL) {
      MSG_Error("CMDLINE_GetHexValue: Not a hex value");
      return -1;
    }
    if ((c == '-' || c == ',') && Len > 0) {
      _pArg--;
      break;
    }
    if (Len >= HEX_LEN) {
      /* Longer than any 32-bit value can be written: refused, like a
       * character that is no digit. */
      MSG_Error("CMDLINE_GetHexValue: Not a hex value");
      return -1;
    }
    ac[Len++] = (char)c;
  }
  ac[Len] = 0;
  if (Len == 0) {
    MSG_Error("CMDLINE_GetHexValue: Missing value");
    return 0;
  }
  const char* s = ac;
  int IsNegative = 0;
  if (*s == '-') {
    IsNegative = 1;
    s++;
  }
  uint32_t Value = 0;
  for (; *s; s++) {
    int Digit;
    if (*s >= '0' && *s <= '9') {
      Digit = *s - '0';
    } else if (*s >= 'a' && *s <= 'f') {
      Digit = *s - 'a' + 10;
    } else if (*s >= 'A' && *s <= 'F') {
      Digit = *s - 'A' + 10;
    } else {
      MSG_Error("Not a hex value");
      return 0;
    }
    Value = Value * 16 + (uint32_t)Digit;
  }
  if (IsNegative) {
    Value = 0u - Value;
  }
  return (int)Value;
}

/*********************************************************************
*  State shared with the error report
*/
int CMDLINE_IsExitQueued(void) {
  return _ExitQueued;
}

void CMDLINE_SetErrorOccured(void) {
  _ErrorOccured = 1;
}

const char* CMDLINE_GetTitle(void) {
  return _acTitle;
}

const char* CMDLINE_GetLogFile(void) {
  return _acLogFile;
}
