#!/usr/bin/python3
"""Plant faults in the product code one at a time and see which tests catch them.

Each fault of the list (tools/faults.txt by default) is applied alone to a
scratch copy of the tree, the copy is rebuilt incrementally (one file
changes), the test binary runs with a time limit, and the fault is reported
as caught (by which tests), missed, not applicable (its old text is not in
the file exactly once) or not compiling.  A time-out or a crash counts as
caught.  Standard library only.
"""
import argparse
import functools
import concurrent.futures
import filecmp
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SKIP_DIRS = {'.git', '.mutate', '.cache', 'dist'}


class Fault:
    def __init__(self, num, path, desc, old, new):
        self.num, self.path, self.desc, self.old, self.new = num, path, desc, old, new


def parse_faults(text, listname):
    """Blocks of the form
         @@ path/file.cpp | one line of description
         <<<
         old text (one or more lines, exact)
         ===
         new text
         >>>
       Lines outside blocks starting with '#' or blank are ignored."""
    faults, lines, i = [], text.split('\n'), 0
    while i < len(lines):
        line = lines[i]
        i += 1
        if not line.strip() or line.startswith('#'):
            continue
        m = re.match(r'@@\s*(\S+)\s*\|\s*(.*)$', line)
        if not m:
            sys.exit('%s:%d: expected "@@ file | description"' % (listname, i))
        start = i

        def take(end_marker):
            nonlocal i
            part = []
            while i < len(lines) and lines[i] != end_marker:
                part.append(lines[i])
                i += 1
            if i >= len(lines):
                sys.exit('%s:%d: missing "%s"' % (listname, start, end_marker))
            i += 1
            return '\n'.join(part)

        if i >= len(lines) or lines[i] != '<<<':
            sys.exit('%s:%d: expected "<<<"' % (listname, i + 1))
        i += 1
        old = take('===')
        new = take('>>>')
        faults.append(Fault(len(faults) + 1, m.group(1), m.group(2).strip(), old, new))
    return faults


def sync_tree(src, dst):
    """Make dst a copy of src (build folders and git excluded), touching only
    files whose content differs so that the scratch build stays incremental."""
    os.makedirs(dst, exist_ok=True)
    for dirpath, dirnames, filenames in os.walk(src):
        rel = os.path.relpath(dirpath, src)
        dirnames[:] = [d for d in dirnames
                       if d not in SKIP_DIRS and not (rel == '.' and d.startswith('build'))]
        target = os.path.join(dst, rel)
        os.makedirs(target, exist_ok=True)
        keep = set(dirnames) | set(filenames)
        for name in os.listdir(target):
            if name not in keep and not (rel == '.' and (name.startswith('build') or name in SKIP_DIRS)):
                p = os.path.join(target, name)
                shutil.rmtree(p) if os.path.isdir(p) and not os.path.islink(p) else os.remove(p)
        for name in filenames:
            if name in SKIP_DIRS:
                continue
            s, d = os.path.join(dirpath, name), os.path.join(target, name)
            if not os.path.exists(d) or not filecmp.cmp(s, d, shallow=False):
                shutil.copy2(s, d)
                os.utime(d)  # newer than any object built from the old copy


def run(cmd, cwd, timeout=None, env=None):
    """(exit code, output); the code is None after a time-out, which ends
    the command's whole process group: a program that a test started and
    that a fault keeps writing must not outlive it (it fills the disk)."""
    p = subprocess.Popen(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                         errors='replace', env=dict(os.environ, **env) if env else None,
                         start_new_session=True)
    try:
        out, _ = p.communicate(timeout=timeout)
        return p.returncode, out
    except subprocess.TimeoutExpired:
        os.killpg(p.pid, signal.SIGKILL)
        out, _ = p.communicate()
        return None, out


class Slot:
    """One scratch tree with its own build folder."""

    def __init__(self, workdir, index, build_jobs, windows=False, sanitize=False):
        self.tree = os.path.join(workdir, ('asan%d' if sanitize else 'tree%d') % index)
        self.build = os.path.join(self.tree, 'build-win64' if windows else 'build')
        self.build_jobs = build_jobs
        self.windows = windows
        self.flags = ['-DZELMAR_SANITIZE=ON'] if sanitize else []
        # As in CI, where ctest sets it for the desktop's tests: GTK keeps
        # its caches until the process ends.
        self.shell_env = {'ASAN_OPTIONS': 'detect_leaks=0'} if sanitize else None

    def configure(self):
        cmd = ['cmake', '-S', self.tree, '-B', self.build] + self.flags
        if self.windows:
            # Cross-built with the libraries of the repository's own
            # Windows build (scripts/build-windows.sh --tests).
            with open(os.path.join(ROOT, 'build-win64', 'CMakeCache.txt'), encoding='utf-8') as f:
                cache = f.read()
            for key in ('CMAKE_PREFIX_PATH', 'wxWidgets_CONFIG_EXECUTABLE', 'ZELMAR_CORPUS_DIR'):
                m = re.search(r'^%s:\w+=(.*)$' % key, cache, re.M)
                if m:
                    cmd.append('-D%s=%s' % (key, m.group(1)))
                if m and key == 'CMAKE_PREFIX_PATH':
                    os.environ['PKG_CONFIG_LIBDIR'] = ':'.join(p + '/lib/pkgconfig' for p in m.group(1).split(';'))
            cmd += ['-DCMAKE_TOOLCHAIN_FILE=' + os.path.join(self.tree, 'cmake', 'mingw-w64.cmake'), '-DZELMAR_TESTS=ON']
        return run(cmd, self.tree)

    def prepare(self, source):
        sync_tree(source, self.tree)
        if not os.path.exists(os.path.join(self.build, 'CMakeCache.txt')):
            rc, out = self.configure()
            if rc != 0:
                sys.exit('cmake failed in %s:\n%s' % (self.tree, out))
        rc, out = self.make()
        if rc != 0:
            sys.exit('the unmodified tree does not build in %s:\n%s' % (self.tree, out[-4000:]))

    def make(self, targets=()):
        cmd = ['cmake', '--build', self.build, '-j%d' % self.build_jobs]
        for target in targets:
            cmd += ['--target', target]
        return run(cmd, self.tree)

    def tests(self, timeout, gtest_filter, fail_fast=False):
        cmd = [os.path.join(self.build, 'tests', 'zelmar_tests')]
        if self.windows:
            # Under Wine, which may not outlive its time limit by itself,
            # without a display, as CI runs them.
            os.environ.setdefault('WINEDEBUG', '-all')
            os.environ.pop('DISPLAY', None)
            cmd = ['timeout', str(int(timeout) + 30), 'wine', cmd[0] + '.exe']
        if gtest_filter:
            cmd.append('--gtest_filter=' + gtest_filter)
        if fail_fast:
            cmd.append('--gtest_fail_fast')
        return run(cmd, self.build, timeout)

    def shell_tests(self, timeout, gtest_filter, fail_fast=False):
        """The desktop front end's tests on a display of their own; None
        when they were not built or xvfb-run is missing."""
        binary = os.path.join(self.build, 'tests', 'shell', 'zelmar_shell_tests')
        if self.windows:
            # Under Wine: the desktop's tests and the keyboard test of
            # zelmar.exe, as ctest runs them (each brings its display).
            if not os.path.isfile(binary + '.exe') or shutil.which('xvfb-run') is None:
                return None
            os.environ.setdefault('WINEDEBUG', '-all')
            rc, out = run(['ctest', '-R', r'^shell\.', '--output-on-failure'], self.build, timeout)
            for name in re.findall(r'^\s+\d+ - (shell\.\w+) \(', out, re.M):
                out += '\n[  FAILED  ] %s\n' % name
            return rc, out
        if not os.path.isfile(binary) or shutil.which('xvfb-run') is None:
            return None
        cmd = ['xvfb-run', '-a', '-s', '-screen 0 1024x768x24', binary]
        if gtest_filter:
            cmd.append('--gtest_filter=' + gtest_filter)
        if fail_fast:
            cmd.append('--gtest_fail_fast')
        rc, out = run(cmd, self.build, timeout, self.shell_env)
        if rc == 0 and not gtest_filter:
            # Then the program itself driven by the keys (the real dialogs).
            rc, out = run(['ctest', '-R', r'^shell\.keys$', '--output-on-failure'], self.build, timeout)
            if rc not in (0, None):
                out += '\n[  FAILED  ] shell.keys\n'
        return rc, out


def failed_tests(out):
    names = []
    for m in re.finditer(r'^\[  FAILED  \] (\S+?\.\S+)', out, re.M):
        if m.group(1) not in names:
            names.append(m.group(1))
    return names


def last_started(out):
    runs = re.findall(r'^\[ RUN      \] (\S+)', out, re.M)
    return runs[-1] if runs else '?'


def try_fault(slot, fault, args):
    """Returns (status, detail): status is caught, MISSED, NOT FOUND or NO BUILD."""
    path = os.path.join(slot.tree, fault.path)
    if not os.path.isfile(path):
        return 'NOT FOUND', 'no such file'
    with open(path, encoding='utf-8') as f:
        original = f.read()
    count = original.count(fault.old)
    if count != 1:
        return 'NOT FOUND', 'old text found %d times' % count
    try:
        with open(path, 'w', encoding='utf-8') as f:
            f.write(original.replace(fault.old, fault.new))
        os.utime(path)
        rc, out = slot.make()
        if rc != 0:
            errs = [l for l in out.splitlines() if 'error' in l]
            return 'NO BUILD', (errs[0].strip() if errs else 'build failed')
        rc, out = slot.tests(args.timeout, args.gtest_filter)
        if rc == 0:
            # Missed by the main suite (always so for shell/ faults): the
            # shell's tests are cheap enough to try on every such fault.
            shell = slot.shell_tests(args.timeout, args.gtest_filter)
            if shell is not None:
                rc, out = shell
        if rc == 0 and fault.path.startswith(('cmake/', 'examples/')):
            # The CMake package is tested by building the example with it.
            rc, out = run(['bash', os.path.join(slot.tree, 'scripts', 'buildstep.sh'), slot.build],
                          slot.tree, args.timeout)
            if rc not in (0, None):
                out += '\n[  FAILED  ] scripts.buildstep\n'
        if rc is None:
            return 'caught', 'time-out in ' + last_started(out)
        if rc == 0:
            return 'MISSED', ''
        names = failed_tests(out)
        if names:
            return 'caught', ' '.join(names)
        return 'caught', 'crash (exit %s) in %s' % (rc, last_started(out))
    finally:
        with open(path, 'w', encoding='utf-8') as f:
            f.write(original)
        os.utime(path)


def numbers(text):
    wanted = set()
    for part in text.split(','):
        a, _, b = part.partition('-')
        wanted.update(range(int(a), int(b or a) + 1))
    return wanted


def select(faults, nums, files):
    chosen = faults
    if nums:
        wanted = numbers(nums)
        chosen = [f for f in chosen if f.num in wanted]
    if files:
        pats = files.split(',')
        chosen = [f for f in chosen if any(p in f.path for p in pats)]
    return chosen


# ---------------------------------------------------------------------------
# Automatic faults: operator faults planted at random sites of the product
# code, with a fixed seed.

AUTO_FOLDERS = ['core', 'color', 'geometry', 'input', 'output', 'commands',
                'app', 'platform', 'console', 'shell']

OPERATORS = ['<<=', '>>=', '->*', '...', '::', '->', '++', '--', '<<', '>>', '<=', '>=',
             '==', '!=', '&&', '||', '+=', '-=', '*=', '/=', '%=', '&=', '|=', '^=', '.*']
SWAPS = {'<': '<=', '<=': '<', '>': '>=', '>=': '>', '==': '!=', '!=': '==',
         '&&': '||', '||': '&&'}
# Names whose '<' opens a template argument list, not a comparison.
TEMPLATE_NAMES = {'vector', 'array', 'unique_ptr', 'shared_ptr', 'map', 'set', 'pair',
                  'function', 'numeric_limits', 'static_cast', 'reinterpret_cast',
                  'const_cast', 'template', 'basic_string', 'initializer_list'}
NOT_CALLS = {'return', 'if', 'while', 'for', 'switch', 'sizeof', 'delete', 'new', 'case',
             'do', 'else', 'goto', 'throw', 'static_assert', 'alignof', 'decltype', 'typedef'}
INT_RE = re.compile(r'(0[xX][0-9a-fA-F]+|0[0-7]*|[1-9][0-9]*)([uUlL]*)$')
# A printf conversion: its characters are left alone (a changed one would be
# undefined behaviour rather than a changed message).
CONV_RE = re.compile(r'%[-+ #0]*(\d+|\*)?(\.(\d+|\*))?(hh|h|ll|l|L|z|j|t)?[a-zA-Z%]')


# The macros tested by #ifdef that the scratch build defines (it has PNG,
# JPEG and the desktop front end on GTK); a plain #if counts as true.
DEFINED = {'ZELMAR_HAVE_PNG', 'ZELMAR_HAVE_JPEG', 'ZELMAR_HAVE_SHELL', '__WXGTK__'}


def lex(text):
    """Tokens of C++ source as (kind, start, end), kind one of id num str chr op;
    comments, preprocessor lines and the code they leave out are left out."""
    toks, i, n, bol = [], 0, len(text), True
    active = []
    while i < n:
        c = text[i]
        if c == '\n':
            bol = True
            i += 1
            continue
        if c in ' \t\r\f\v':
            i += 1
            continue
        if text.startswith('//', i):
            j = text.find('\n', i)
            i = n if j < 0 else j
            continue
        if text.startswith('/*', i):
            j = text.find('*/', i + 2)
            i = n if j < 0 else j + 2
            continue
        if bol and c == '#':
            start = i
            while i < n and text[i] != '\n':
                if text[i] == '\\' and text.startswith('\n', i + 1):
                    i += 1
                elif text.startswith('/*', i):
                    j = text.find('*/', i + 2)
                    i = n - 1 if j < 0 else j + 1
                i += 1
            words = text[start + 1:i].split()
            if words and words[0] in ('if', 'ifdef', 'ifndef'):
                on = True
                if words[0] != 'if' and len(words) > 1:
                    on = (words[1] in DEFINED) == (words[0] == 'ifdef')
                active.append(on)
            elif words and words[0] in ('else', 'elif') and active:
                active[-1] = not active[-1]
            elif words and words[0] == 'endif' and active:
                active.pop()
            continue
        bol = False
        if not all(active):
            # Code left out by the preprocessor: skip it to the end of the line.
            j = text.find('\n', i)
            i = n if j < 0 else j
            continue
        if c == '"' or c == "'":
            j = i + 1
            while j < n and text[j] != c and text[j] != '\n':
                j += 2 if text[j] == '\\' else 1
            toks.append(('str' if c == '"' else 'chr', i, j + 1))
            i = j + 1
            continue
        if c.isalpha() or c == '_':
            j = i
            while j < n and (text[j].isalnum() or text[j] == '_'):
                j += 1
            if j < n and text[j] in '"\'' and text[i:j] in ('L', 'u', 'U', 'u8'):
                i = j  # prefix of a literal: lexed with it (start moves, harmless)
                continue
            toks.append(('id', i, j))
            i = j
            continue
        if c.isdigit() or (c == '.' and i + 1 < n and text[i + 1].isdigit()):
            j = i + 1
            while j < n and (text[j].isalnum() or text[j] in "._'" or
                             (text[j] in '+-' and text[j - 1] in 'eEpP' and not text[i:i + 2].lower() == '0x')):
                j += 1
            toks.append(('num', i, j))
            i = j
            continue
        for op in OPERATORS:
            if text.startswith(op, i):
                break
        else:
            op = c
        toks.append(('op', i, i + len(op)))
        i += len(op)
    return toks


class Site:
    def __init__(self, path, start, end, new, line, kind, change):
        self.path, self.start, self.end, self.new = path, start, end, new
        self.line, self.kind, self.change = line, kind, change
        self.folder = path.split('/')[0]

    def where(self):
        return '%s:%d' % (self.path, self.line)


def _short(s, width=60):
    s = ' '.join(s.split())
    return s if len(s) <= width else s[:width - 3] + '...'


def _changed_char(ch):
    if ch.isalpha() and ch.isascii():
        base = ord('a') if ch.islower() else ord('A')
        return chr(base + (ord(ch) - base + 1) % 26)
    if ch.isdigit():
        return str((int(ch) + 1) % 10)
    return '_' if ch == ' ' else ' '


def file_sites(path, text, seed):
    """Every candidate fault of one file.  The choices a site leaves open (the
    sign for a constant, the character of a string) are drawn from the seed
    and the site's place, so they do not depend on the other files."""
    toks = lex(text)
    sites = []

    def line_of(pos):
        return text.count('\n', 0, pos) + 1

    def rng_for(pos):
        return random.Random('%s:%s:%d' % (seed, path, pos))

    # '<' ... '>' pairs of template argument lists are no comparison.
    skip = set()
    for k, (kind, s, e) in enumerate(toks):
        if kind == 'op' and text[s:e] == '<' and k > 0 and toks[k - 1][0] == 'id' \
                and text[toks[k - 1][1]:toks[k - 1][2]] in TEMPLATE_NAMES:
            depth = 0
            for m in range(k, min(len(toks), k + 40)):
                t = text[toks[m][1]:toks[m][2]]
                if t == '<':
                    depth += 1
                elif t in ('>', '>>'):
                    depth -= len(t)
                    if depth <= 0:
                        skip.update((k, m))
                        break
                elif t in (';', '{'):
                    break

    for k, (kind, s, e) in enumerate(toks):
        tok = text[s:e]
        if kind == 'op' and tok in SWAPS and k not in skip:
            sites.append(Site(path, s, e, SWAPS[tok], line_of(s), 'operator',
                              '`%s` -> `%s`' % (tok, SWAPS[tok])))
        elif kind == 'num':
            m = INT_RE.match(tok)
            if not m:
                continue
            digits, suffix = m.groups()
            value = int(digits, 0) if not (digits.startswith('0') and len(digits) > 1
                                         and digits[1] not in 'xX') else int(digits, 8)
            delta = rng_for(s).choice((1, -1))
            v = value + delta
            if v < 0:
                new = '(-1%s)' % suffix
            elif digits[:2].lower() == '0x':
                new = '0x%0*X%s' % (len(digits) - 2, v, suffix)
            elif digits.startswith('0') and len(digits) > 1:
                new = '0%o%s' % (v, suffix)
            else:
                new = '%d%s' % (v, suffix)
            sites.append(Site(path, s, e, new, line_of(s), 'constant',
                              '`%s` -> `%s`' % (tok, new)))
        elif kind == 'str':
            if k > 0 and text[toks[k - 1][1]:toks[k - 1][2]] in ('extern', 'asm', '__asm__'):
                continue
            body_start = s + 1
            body = text[body_start:e - 1]
            banned = set()
            for m in CONV_RE.finditer(body):
                banned.update(range(m.start(), m.end()))
            places, j = [], 0
            while j < len(body):
                if body[j] == '\\':
                    m = re.match(r'\\([0-7]{1,3}|x[0-9a-fA-F]+|.)', body[j:])
                    j += len(m.group(0))
                    continue
                if j not in banned:
                    places.append(j)
                j += 1
            if not places:
                continue
            j = rng_for(s).choice(places)
            ch = _changed_char(body[j])
            new_body = body[:j] + ch + body[j + 1:]
            sites.append(Site(path, body_start + j, body_start + j + 1, ch, line_of(s), 'string',
                              '"%s" -> "%s"' % (_short(body, 50), _short(new_body, 50))
                              if len(body) <= 50 else
                              'character %d of "%s": %r -> %r' % (j + 1, _short(body, 40), body[j], ch)))

    # Call statements alone on their lines: name(...); or a.b->c(...);
    for k, (kind, s, e) in enumerate(toks):
        if kind != 'id' or text[s:e] in NOT_CALLS:
            continue
        bol = text.rfind('\n', 0, s) + 1
        if text[bol:s].strip():
            continue
        m = k
        while m + 2 < len(toks) and text[toks[m + 1][1]:toks[m + 1][2]] in ('::', '.', '->') \
                and toks[m + 2][0] == 'id':
            m += 2
        if m + 1 >= len(toks) or text[toks[m + 1][1]:toks[m + 1][2]] != '(':
            continue
        depth, q = 0, m + 1
        while q < len(toks):
            t = text[toks[q][1]:toks[q][2]]
            if t == '(':
                depth += 1
            elif t == ')':
                depth -= 1
                if depth == 0:
                    break
            elif t in (';', '{', '}'):
                q = len(toks)
                break
            q += 1
        if q + 1 >= len(toks) or text[toks[q + 1][1]:toks[q + 1][2]] != ';':
            continue
        end = toks[q + 1][2]
        eol = text.find('\n', end)
        if text[end:len(text) if eol < 0 else eol].strip():
            continue
        # The statement before must have ended: no 'x =' or 'return' broken over lines.
        if k > 0 and text[toks[k - 1][1]:toks[k - 1][2]] not in (';', '{', '}', ')', ':', 'else'):
            continue
        if k > 0 and text[toks[k - 1][1]:toks[k - 1][2]] == ')':
            # Only the ')' closing the head of an if/while/for.
            depth, p = 0, k - 1
            while p >= 0:
                t = text[toks[p][1]:toks[p][2]]
                depth += (t == ')') - (t == '(')
                if depth == 0:
                    break
                p -= 1
            if p < 1 or text[toks[p - 1][1]:toks[p - 1][2]] not in ('if', 'while', 'for'):
                continue
        stmt = text[s:end]
        sites.append(Site(path, s, end, ';' + '\n' * stmt.count('\n'), line_of(s), 'call',
                          'drop `%s`' % _short(stmt, 60)))
    return sites


def all_sites(root, seed, folders):
    sites = []
    for folder in folders:
        d = os.path.join(root, folder)
        if not os.path.isdir(d):
            continue
        for name in sorted(os.listdir(d)):
            # Win32 files are not built here: their faults are the list's (--windows).
            if name.endswith(('.cpp', '.c', '.h')) and '_win32.' not in name:
                path = folder + '/' + name
                with open(os.path.join(root, path), encoding='utf-8') as f:
                    sites.extend(file_sites(path, f.read(), seed))
    return sites


def stratified_sample(sites, count, seed):
    """count sites: each folder gets at least count / (3 x folders) of them
    (all of its sites when it has fewer), the rest go to the folders in
    proportion to their sites.  The sample is shuffled, so that a run
    stopped early still covers every folder."""
    rng = random.Random(seed)
    by_folder = {}
    for site in sites:
        by_folder.setdefault(site.folder, []).append(site)
    total = len(sites)
    count = min(count, total)
    floor = max(1, count // (3 * len(by_folder)))
    quota = {f: min(len(s), floor) for f, s in by_folder.items()}
    while sum(quota.values()) < count:
        f = max((f for f in by_folder if quota[f] < len(by_folder[f])),
                key=lambda f: len(by_folder[f]) * count / total - quota[f])
        quota[f] += 1
    chosen = []
    for f in sorted(by_folder):
        chosen.extend(rng.sample(by_folder[f], quota[f]))
    rng.shuffle(chosen)
    return chosen


def judge(rc, out):
    """None when the tests passed, otherwise what caught the fault."""
    if rc == 0:
        return None
    if rc is None:
        return 'time-out in ' + last_started(out)
    names = failed_tests(out)
    return ' '.join(names) if names else 'crash (exit %s) in %s' % (rc, last_started(out))


class Planted:
    """The site's fault written into one scratch tree, undone on leaving."""

    def __init__(self, slot, site):
        self.path = os.path.join(slot.tree, site.path)
        self.site = site

    def __enter__(self):
        with open(self.path, encoding='utf-8') as f:
            self.original = f.read()
        s = self.site
        with open(self.path, 'w', encoding='utf-8') as f:
            f.write(self.original[:s.start] + s.new + self.original[s.end:])
        os.utime(self.path)

    def __exit__(self, *exc):
        with open(self.path, 'w', encoding='utf-8') as f:
            f.write(self.original)
        os.utime(self.path)


def test_times(out):
    return {m.group(1): int(m.group(2))
            for m in re.finditer(r'^\[       OK \] (\S+) \((\d+) ms\)', out, re.M)}


class Runs:
    """The test runs of the automatic mode, with their time limits.  The
    main tests run in three rounds, quickest tests first (times of the last
    full run on the unmodified tree, kept in the work folder), each round
    stopping at its first failed test: most faults are caught in seconds.
    Before a kind of run is first used on a fault it runs on the unmodified
    tree, which must pass; its limit is four times that run, at least a
    minute (or -t)."""

    def __init__(self, workdir, fixed):
        self.times_file = os.path.join(workdir, 'test-times.txt')
        self.fixed, self.lock, self.limits, self.rounds = fixed, threading.Lock(), {}, None

    def _limit(self, seconds):
        return self.fixed or max(60.0, 4 * seconds)

    @staticmethod
    def _check(key, result):
        if result is not None and result[0] != 0:
            print('%s: fail on the unmodified tree:\n%s' % (key, '\n'.join(
                failed_tests(result[1]) or [result[1][-2000:]])), flush=True)
            os._exit(2)

    def ready(self, key, slot, desktop=False):
        with self.lock:
            if key in self.limits:
                return
            t0 = time.time()
            if desktop:
                result = slot.shell_tests(3600, None)
                self._check(key, result)
                self.limits[key] = self._limit(time.time() - t0)
            elif self.rounds is None and not os.path.isfile(self.times_file):
                result = slot.tests(3600, None)
                self._check(key, result)
                times = test_times(result[1])
                with open(self.times_file, 'w') as f:
                    f.writelines('%s %d\n' % kv for kv in sorted(times.items()))
                self._split(times)
                scale = (time.time() - t0) / max(1, sum(times.values()))
                self.limits[key] = [self._limit(scale * sum(times.get(n, 0) for n in names))
                                    for names in self.round_names]
            else:
                if self.rounds is None:
                    with open(self.times_file) as f:
                        self._split({l.split()[0]: int(l.split()[1]) for l in f if l.strip()})
                self.limits[key] = []
                for flt in self.rounds:
                    t1 = time.time()
                    self._check(key, slot.tests(3600, flt))
                    self.limits[key].append(self._limit(time.time() - t1))
            print('%s: %.0fs on the unmodified tree, limit %s s' % (
                key, time.time() - t0, '/'.join('%.0f' % x for x in (
                    self.limits[key] if isinstance(self.limits[key], list) else [self.limits[key]]))),
                flush=True)

    def _split(self, times):
        """Rounds: the quickest tests up to 5% of the time, then up to 30%, then
        every other test (also those the times file does not know)."""
        names = sorted(times, key=lambda n: (times[n], n))
        total, acc = max(1, sum(times.values())), 0
        first, second = [], []
        for n in names:
            acc += times[n]
            (first if acc <= 0.05 * total else second if acc <= 0.30 * total else []).append(n)
        self.round_names = [first, second, [n for n in names if n not in first and n not in second]]
        self.rounds = [':'.join(first), ':'.join(second), '-' + ':'.join(first + second)]

    def main(self, key, slot):
        rc, out = 0, ''
        for flt, limit in zip(self.rounds, self.limits[key]):
            rc, out = slot.tests(limit, flt, True)
            if rc != 0:
                break
        return rc, out

    def desktop(self, key, slot):
        return slot.shell_tests(self.limits[key], None, True)


def try_stages(slot, site, runs, prefix):
    """Plants the fault in slot's tree and runs the main and the desktop's
    tests there; (status, detail), status None when both pass.  A fault of
    the front end is tried on its own tests first (the verdict is the same,
    it comes sooner); for other faults the desktop's tests are linked only
    when the main tests miss."""
    runs.ready(prefix + 'tests', slot)
    runs.ready(prefix + 'desktop', slot, True)
    shell_first = site.folder == 'shell'
    with Planted(slot, site):
        rc, out = slot.make(() if shell_first else ('zelmar', 'zelmar_tests'))
        if rc != 0:
            errs = [l for l in out.splitlines() if 'error' in l]
            return 'NO BUILD', (errs[0].strip() if errs else 'build failed')
        for stage in (('desktop', 'tests') if shell_first else ('tests', 'desktop')):
            if stage == 'tests':
                verdict = judge(*runs.main(prefix + 'tests', slot))
            else:
                slot.make()
                shell = runs.desktop(prefix + 'desktop', slot)
                verdict = shell is not None and judge(*shell)
            if verdict:
                return 'caught', prefix + stage + ': ' + verdict
    return None, ''


def try_site(slot, asan_pool, site, runs):
    """Returns (status, detail) as try_fault does.  The stages run as in CI:
    the main and the desktop's tests, then, for a fault they miss, both again
    in the sanitizer build."""
    status, detail = try_stages(slot, site, runs, '')
    if status or asan_pool is None:
        return status or 'MISSED', detail
    asan = asan_pool.get()
    try:
        status, detail = try_stages(asan, site, runs, 'sanitizer ')
    finally:
        asan_pool.put(asan)
    return status or 'MISSED', detail


def auto_report(sites, sample, results):
    print()
    folders = [f for f in AUTO_FOLDERS if any(s.folder == f for s in sites)]
    head = ('folder', 'sites', 'sample', 'run', 'caught', 'missed', 'no build', 'caught %')
    print('%-10s %6s %6s %5s %6s %6s %8s %8s' % head)
    total = {k: 0 for k in head[1:-1]}
    estimate, weight = 0.0, 0
    for f in folders + ['all']:
        if f == 'all':
            row = total
            print('-' * 62)
        else:
            done = [results[i][0] for i, s in enumerate(sample) if s.folder == f and i in results]
            row = {'sites': sum(1 for s in sites if s.folder == f),
                   'sample': sum(1 for s in sample if s.folder == f),
                   'run': len(done), 'caught': done.count('caught'),
                   'missed': done.count('MISSED'), 'no build': done.count('NO BUILD')}
            for k in total:
                total[k] += row[k]
            if row['caught'] + row['missed']:
                estimate += row['sites'] * row['caught'] / (row['caught'] + row['missed'])
                weight += row['sites']
        compiled = row['caught'] + row['missed']
        print('%-10s %6d %6d %5d %6d %6d %8d %8s' % (
            f, row['sites'], row['sample'], row['run'], row['caught'], row['missed'],
            row['no build'], '%.1f' % (100.0 * row['caught'] / compiled) if compiled else '-'))
    by_stage = {}
    for status, detail in results.values():
        if status == 'caught':
            stage = detail.split(':')[0]
            by_stage[stage] = by_stage.get(stage, 0) + 1
    print('caught by: ' + ', '.join('%s %d' % kv for kv in sorted(by_stage.items())))
    if weight:
        print('caught share over the sites of the folders run (weighted by their sites): %.1f%%'
              % (100.0 * estimate / weight))
    missed = [(i, s) for i, s in enumerate(sample) if results.get(i, ('',))[0] == 'MISSED']
    if missed:
        print('\nmissed:')
        for i, s in missed:
            print('  #%-3d %-28s %-8s %s' % (i + 1, s.where(), s.kind, s.change))
    print('\ncaught %d of %d run (%d not compiling)' % (total['caught'], total['caught'] + total['missed'],
                                                     total['no build']))


def source_tree(args, rev=None, name='export'):
    """The tree to test: this one, or the revision of --rev exported."""
    rev = rev or args.rev
    if not rev:
        return ROOT
    source = os.path.join(os.path.abspath(args.workdir), name)
    shutil.rmtree(source, ignore_errors=True)
    os.makedirs(source)
    archive = subprocess.run(['git', '-C', ROOT, 'archive', rev], stdout=subprocess.PIPE, check=True)
    subprocess.run(['tar', '-x', '-C', source], input=archive.stdout, check=True)
    return source


@functools.lru_cache(maxsize=None)
def _read(root, path):
    path = os.path.join(root, path)
    return open(path, encoding='utf-8').read() if os.path.isfile(path) else ''


def move_site(site, old_root, new_root):
    """The site at the same line text in the new tree (the nearest one when
    the line is there more than once); start -1 when it is not there."""
    old, new = _read(old_root, site.path), _read(new_root, site.path)
    begin = old.rfind('\n', 0, site.start) + 1
    end = old.find('\n', site.start)
    text = old[begin:end if end >= 0 else len(old)]
    starts = [m.start() for m in re.finditer('^' + re.escape(text) + '$', new, re.M)]
    moved = Site(site.path, -1, -1, site.new, site.line, site.kind, site.change)
    if starts:
        at = min(starts, key=lambda p: abs(new.count('\n', 0, p) + 1 - site.line))
        moved.start, moved.end = at + site.start - begin, at + site.end - begin
        if new[moved.start:moved.end] != old[site.start:site.end]:
            moved.start = moved.end = -1
    return moved


def run_auto(args):
    folders = AUTO_FOLDERS
    if args.files:
        pats = args.files.split(',')
        folders = [f for f in folders if any(p.rstrip('/') in f or f + '/' in p for p in pats)]
    source = source_tree(args)
    sites = all_sites(source, args.seed, folders)
    if args.files:
        sites = [s for s in sites if any(p in s.path or s.path.startswith(p) for p in pats)]
    if not sites:
        sys.exit('no site found')
    sample = stratified_sample(sites, args.auto, args.seed)
    print('%d sites, %d sampled with seed %s' % (len(sites), len(sample), args.seed))
    if args.sample_rev:
        # The sample of another revision, its faults moved to the same
        # lines of the tree tested (whose product code may have changed).
        old_tree = source_tree(args, args.sample_rev, 'sample-export')
        sample = stratified_sample(all_sites(old_tree, args.seed, folders), args.auto, args.seed)
        sample = [move_site(s, old_tree, source) for s in sample]
        print('the sample of %s, moved: %d not found' % (args.sample_rev, sum(1 for s in sample if s.start < 0)))
    if args.matrix:
        only = numbers(args.only) if args.only else None
        return run_matrix(args, source, [('A%d' % (i + 1), s.where(), s if s.start >= 0 else None)
                                         for i, s in enumerate(sample) if not only or i + 1 in only])
    if args.dry_run:
        for i, s in enumerate(sample):
            print('#%-3d %-28s %-8s %s' % (i + 1, s.where(), s.kind, s.change))
        return 0
    if args.report:
        # The output of a run with the same sample, perhaps stopped early.
        results = {}
        with open(args.report, encoding='utf-8', errors='replace') as f:
            for m in re.finditer(r'^\[ *(\d+)/\d+\] (caught|MISSED|NO BUILD) +(\S+).*\n(?: {10}(.*))?',
                                 f.read(), re.M):
                i = int(m.group(1)) - 1
                if i >= len(sample) or sample[i].where() != m.group(3):
                    sys.exit('%s: fault %d is not this sample\'s' % (args.report, i + 1))
                results[i] = (m.group(2), m.group(4) or '')
        auto_report(sites, sample, results)
        return 0

    args.workdir = os.path.abspath(args.workdir)
    link_corpus(args.workdir)
    jobs = max(1, min(args.jobs, len(sample)))
    slots = [Slot(args.workdir, k, 1 if jobs > 1 else 2) for k in range(jobs)]
    asan = None if args.no_sanitize else Slot(args.workdir, 0, 2, sanitize=True)
    print('preparing %d scratch tree(s)%s in %s ...' % (
        jobs, '' if asan is None else ' and a sanitizer build', args.workdir), flush=True)
    slots[0].prepare(source)
    runs = Runs(args.workdir, args.timeout)
    runs.ready('tests', slots[0])

    # The other trees are built while the first one runs faults.
    import queue
    free, asan_pool = queue.Queue(), None if asan is None else queue.Queue()
    free.put(slots[0])

    def prepare(slot, pool):
        try:
            slot.prepare(source)
        except BaseException as e:
            print('%s: %s' % (slot.tree, e), flush=True)
            os._exit(2)
        print('ready: %s' % slot.tree, flush=True)
        pool.put(slot)

    for slot, pool in [(s, free) for s in slots[1:]] + ([(asan, asan_pool)] if asan else []):
        threading.Thread(target=prepare, args=(slot, pool), daemon=True).start()
    lock = threading.Lock()
    results = {}
    deadline = time.time() + 60 * args.minutes if args.minutes else None
    stop = threading.Event()

    def work(i):
        if stop.is_set() or (deadline and time.time() > deadline):
            return
        site = sample[i]
        if site.start < 0:
            with lock:
                results[i] = ('NOT FOUND', '')
                print('[%3d/%d] NOT FOUND %-28s %-8s %s' % (i + 1, len(sample), site.where(), site.kind, site.change), flush=True)
            return
        slot = free.get()
        try:
            t0 = time.time()
            status, detail = try_site(slot, asan_pool, site, runs)
        finally:
            free.put(slot)
        with lock:
            results[i] = (status, detail)
            print('[%3d/%d] %-8s %-28s %-8s %s  (%.0fs)' % (i + 1, len(sample), status, site.where(),
                                                           site.kind, site.change, time.time() - t0),
                  flush=True)
            if detail:
                print('          ' + detail, flush=True)

    todo = range(max(0, args.start - 1), len(sample))
    if args.only:
        # Faults of the sample by number, e.g. those an earlier run missed,
        # tried again on the tests of another revision.
        todo = sorted(i - 1 for i in numbers(args.only) if 0 < i <= len(sample))
    pool = concurrent.futures.ThreadPoolExecutor(max_workers=jobs)
    try:
        for fut in [pool.submit(work, i) for i in todo]:
            fut.result()
    except KeyboardInterrupt:
        # Faults under way are dropped (their trees are synced again on
        # the next run); those that finished are reported.
        stop.set()
        print('\ninterrupted', flush=True)
        with lock:
            auto_report(sites, sample, dict(results))
        os._exit(1)
    pool.shutdown()
    auto_report(sites, sample, results)
    return 0


def every_failure(runner, timeout):
    """The names of every test of one binary that fails, the run not stopping
    at the first: a test that crashes or hangs counts as failed, and the
    binary starts again after it.  None when the binary itself fails."""
    failed, started = [], []
    for _ in range(8):
        result = runner(timeout, '-' + ':'.join(started) if started else '*')
        if result is None:
            return failed  # the desktop's tests, not built here
        rc, out = result
        failed += [n for n in failed_tests(out) if n not in failed]
        if rc is not None and re.search(r'^\[==========\] \d+ tests? from .* ran', out, re.M):
            return failed
        now = re.findall(r'^\[ RUN      \] (\S+)', out, re.M)
        if not now:
            return None
        if now[-1] not in failed:
            failed.append(now[-1])
        started += [n for n in now if n not in started]
    return failed


def run_matrix(args, source, faults):
    """For each fault (key, where, planted-site), every main and desktop test
    that fails, one line per fault appended to args.matrix: key, place,
    status, names.  Faults already in the file are skipped, so a run stopped
    early goes on where it was."""
    done = set()
    if os.path.isfile(args.matrix):
        with open(args.matrix, encoding='utf-8') as f:
            done = {l.split('\t')[0] for l in f if l.strip()}
    faults = [f for f in faults if f[0] not in done]
    args.timeout = args.timeout or 90
    args.workdir = os.path.abspath(args.workdir)
    link_corpus(args.workdir)
    jobs = max(1, min(args.jobs, len(faults)))
    slots = [Slot(args.workdir, k, 1 if jobs > 1 else 2) for k in range(jobs)]
    print('preparing %d scratch tree(s) in %s ...' % (jobs, args.workdir), flush=True)
    for slot in slots:
        slot.prepare(source)
    if every_failure(slots[0].tests, args.timeout) or every_failure(slots[0].shell_tests, args.timeout):
        sys.exit('the tests fail on the unmodified tree')
    free, lock = list(slots), threading.Lock()
    deadline = time.time() + 60 * args.minutes if args.minutes else None

    def work(fault):
        key, where, site = fault
        if deadline and time.time() > deadline:
            return
        with lock:
            slot = free.pop()
        t0 = time.time()
        try:
            if site is None:
                status, names = 'NOT FOUND', []
            else:
                with Planted(slot, site):
                    rc, out = slot.make()
                    if rc != 0:
                        status, names = 'NO BUILD', []
                    else:
                        names = []
                        for runner in (slot.tests, slot.shell_tests):
                            got = every_failure(runner, args.timeout)
                            names += ['crash'] if got is None else got
                        status = 'caught' if names else 'MISSED'
        finally:
            with lock:
                free.append(slot)
        with lock:
            with open(args.matrix, 'a', encoding='utf-8') as f:
                f.write('%s\t%s\t%s\t%s\n' % (key, where, status, ' '.join(names)))
            print('%-5s %-9s %-28s %d test(s)  (%.0fs)' % (key, status, where, len(names),
                                                        time.time() - t0), flush=True)

    with concurrent.futures.ThreadPoolExecutor(max_workers=jobs) as pool:
        list(pool.map(work, faults))
    return 0


def list_site(root, fault):
    """A fault of the list as a site of the tree at root; None when its old
    text is not there exactly once."""
    text = _read(root, fault.path)
    if text.count(fault.old) != 1:
        return None
    start = text.index(fault.old)
    return Site(fault.path, start, start + len(fault.old), fault.new,
                text.count('\n', 0, start) + 1, 'list', fault.desc)


def link_corpus(workdir):
    """The tests find the corpus at ../shared/corpus next to the source tree:
    next to this tree, or, for a git worktree, next to the main one."""
    os.makedirs(workdir, exist_ok=True)
    shared = os.path.join(workdir, 'shared')
    if os.path.lexists(shared):
        return
    candidates = [os.path.join(os.path.dirname(ROOT), 'shared')]
    git = subprocess.run(['git', '-C', ROOT, 'rev-parse', '--path-format=absolute', '--git-common-dir'],
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, errors='replace')
    if git.returncode == 0 and git.stdout.strip():
        candidates.append(os.path.join(os.path.dirname(os.path.dirname(git.stdout.strip())), 'shared'))
    for real_shared in candidates:
        if os.path.isdir(real_shared):
            os.symlink(real_shared, shared)
            return


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    ap.add_argument('list', nargs='?', default=os.path.join(ROOT, 'tools', 'faults.txt'),
                    help='fault list (default tools/faults.txt)')
    ap.add_argument('-n', '--numbers', help='faults to run by number, e.g. 3,7-12')
    ap.add_argument('-f', '--files', help='faults to run by file or folder, e.g. core/,gifout')
    ap.add_argument('-j', '--jobs', type=int, default=1,
                    help='faults tried in parallel, each in its own scratch tree (default 1)')
    ap.add_argument('-t', '--timeout', type=float,
                    help='seconds allowed for one run of the tests (default 120; with --auto,'
                         ' four times its run on the unmodified tree, at least 60)')
    ap.add_argument('--gtest-filter', help='run only these tests (gtest filter)')
    ap.add_argument('--workdir', default=os.path.join(ROOT, '.mutate'),
                    help='where the scratch trees live (default .mutate/ in the repository)')
    ap.add_argument('--rev', help='test this git revision (e.g. HEAD) instead of the working tree')
    ap.add_argument('--windows', action='store_true',
                    help='the faults in Win32 files, cross-built and tested under Wine')
    ap.add_argument('--check', action='store_true',
                    help='only report faults whose old text is not found exactly once')
    ap.add_argument('--auto', type=int, metavar='N',
                    help='instead of the list: N faults planted at random sites of the product code')
    ap.add_argument('--seed', default='1', help='seed of the random sites (default 1)')
    ap.add_argument('--dry-run', action='store_true', help='with --auto: only list the sampled faults')
    ap.add_argument('--no-sanitize', action='store_true',
                    help='with --auto: no sanitizer build for the faults the other tests miss')
    ap.add_argument('--start', type=int, default=1, help='with --auto: start at this fault of the sample')
    ap.add_argument('--sample-rev', metavar='REV',
                    help='with --auto: the sample of this revision, each fault planted at the same line of the tree tested')
    ap.add_argument('--only', help='with --auto: only these faults of the sample, e.g. 5,17-20')
    ap.add_argument('--minutes', type=float, help='with --auto: start no fault after this many minutes')
    ap.add_argument('--matrix', metavar='OUT',
                    help='run every main and desktop test on each fault, not stopping at the first'
                         ' failure, and append the names of those that fail to OUT')
    ap.add_argument('--report', metavar='LOG',
                    help='with --auto: only the table, from the output of a run of the same sample')
    args = ap.parse_args()
    if args.auto:
        return run_auto(args)
    if args.timeout is None:
        args.timeout = 120

    with open(args.list, encoding='utf-8') as f:
        faults = select(parse_faults(f.read(), args.list), args.numbers, args.files)
    # Win32 files are built only for Windows: their faults go with --windows,
    # as do faults whose description begins "Windows:" (code of all
    # systems that only a Windows run can tell from right).
    if not args.check:
        faults = [f for f in faults
                  if ('_win32.' in f.path or f.desc.startswith('Windows:')) == args.windows]
    if not faults:
        sys.exit('no fault selected')

    if args.check:
        bad = 0
        for fault in faults:
            path = os.path.join(ROOT, fault.path)
            n = open(path, encoding='utf-8').read().count(fault.old) if os.path.isfile(path) else -1
            if n != 1:
                bad += 1
                print('#%-3d NOT FOUND %s (%s): %s' % (fault.num, fault.path,
                      'no such file' if n < 0 else 'found %d times' % n, fault.desc))
        print('%d of %d faults apply' % (len(faults) - bad, len(faults)))
        return 1 if bad else 0

    if args.matrix:
        source = source_tree(args)
        return run_matrix(args, source, [('L%d' % f.num, '%s:%d' % (f.path, site.line) if site else f.path, site)
                                         for f in faults for site in [list_site(source, f)]])

    args.workdir = os.path.abspath(args.workdir)
    link_corpus(args.workdir)

    jobs = max(1, min(args.jobs, len(faults)))
    build_jobs = 1 if jobs > 1 else 2
    slots = [Slot(args.workdir, k, build_jobs, args.windows) for k in range(jobs)]
    print('preparing %d scratch tree(s) in %s ...' % (jobs, args.workdir), flush=True)
    source = source_tree(args)
    for slot in slots:
        slot.prepare(source)
    rc, out = slots[0].tests(args.timeout, args.gtest_filter)
    if rc != 0:
        sys.exit('the tests fail on the unmodified tree:\n' + '\n'.join(failed_tests(out) or [out[-2000:]]))

    free = list(slots)
    lock = threading.Lock()
    results = {}

    def work(fault):
        with lock:
            slot = free.pop()
        try:
            t0 = time.time()
            status, detail = try_fault(slot, fault, args)
        finally:
            with lock:
                free.append(slot)
        with lock:
            results[fault.num] = (status, detail)
            print('#%-3d %-9s %-26s %s  (%.0fs)' % (fault.num, status, fault.path, fault.desc,
                                                   time.time() - t0), flush=True)
            if detail:
                print('       ' + detail, flush=True)

    with concurrent.futures.ThreadPoolExecutor(max_workers=jobs) as pool:
        list(pool.map(work, faults))

    caught = sum(1 for s, _ in results.values() if s == 'caught')
    print()
    for status in ('MISSED', 'NOT FOUND', 'NO BUILD'):
        nums = [str(n) for n in sorted(results) if results[n][0] == status]
        if nums:
            print('%s: %s' % (status.lower(), ' '.join(nums)))
    print('caught %d of %d' % (caught, len(faults)))
    return 0 if caught == len(faults) else 1


if __name__ == '__main__':
    sys.exit(main())
