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
import concurrent.futures
import filecmp
import os
import re
import shutil
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


def run(cmd, cwd, timeout=None):
    try:
        p = subprocess.run(cmd, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                           timeout=timeout, errors='replace')
        return p.returncode, p.stdout
    except subprocess.TimeoutExpired as e:
        out = e.stdout.decode(errors='replace') if isinstance(e.stdout, bytes) else (e.stdout or '')
        return None, out


class Slot:
    """One scratch tree with its own build folder."""

    def __init__(self, workdir, index, build_jobs, windows=False):
        self.tree = os.path.join(workdir, 'tree%d' % index)
        self.build = os.path.join(self.tree, 'build-win64' if windows else 'build')
        self.build_jobs = build_jobs
        self.windows = windows

    def configure(self):
        cmd = ['cmake', '-S', self.tree, '-B', self.build]
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

    def make(self):
        return run(['cmake', '--build', self.build, '-j%d' % self.build_jobs], self.tree)

    def tests(self, timeout, gtest_filter):
        cmd = [os.path.join(self.build, 'tests', 'zelmar_tests')]
        if self.windows:
            # Under Wine, which may not outlive its time limit by itself.
            os.environ.setdefault('WINEDEBUG', '-all')
            cmd = ['timeout', str(int(timeout) + 30), 'wine', cmd[0] + '.exe']
        if gtest_filter:
            cmd.append('--gtest_filter=' + gtest_filter)
        return run(cmd, self.build, timeout)

    def shell_tests(self, timeout, gtest_filter):
        """The desktop front end's tests on a display of their own; None
        when they were not built or xvfb-run is missing."""
        binary = os.path.join(self.build, 'tests', 'shell', 'zelmar_shell_tests')
        if self.windows or not os.path.isfile(binary) or shutil.which('xvfb-run') is None:
            return None
        cmd = ['xvfb-run', '-a', '-s', '-screen 0 1024x768x24', binary]
        if gtest_filter:
            cmd.append('--gtest_filter=' + gtest_filter)
        rc, out = run(cmd, self.build, timeout)
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


def select(faults, numbers, files):
    chosen = faults
    if numbers:
        wanted = set()
        for part in numbers.split(','):
            a, _, b = part.partition('-')
            wanted.update(range(int(a), int(b or a) + 1))
        chosen = [f for f in chosen if f.num in wanted]
    if files:
        pats = files.split(',')
        chosen = [f for f in chosen if any(p in f.path for p in pats)]
    return chosen


def main():
    ap = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    ap.add_argument('list', nargs='?', default=os.path.join(ROOT, 'tools', 'faults.txt'),
                    help='fault list (default tools/faults.txt)')
    ap.add_argument('-n', '--numbers', help='faults to run by number, e.g. 3,7-12')
    ap.add_argument('-f', '--files', help='faults to run by file or folder, e.g. core/,gifout')
    ap.add_argument('-j', '--jobs', type=int, default=1,
                    help='faults tried in parallel, each in its own scratch tree (default 1)')
    ap.add_argument('-t', '--timeout', type=float, default=120,
                    help='seconds allowed for one run of the tests (default 120)')
    ap.add_argument('--gtest-filter', help='run only these tests (gtest filter)')
    ap.add_argument('--workdir', default=os.path.join(ROOT, '.mutate'),
                    help='where the scratch trees live (default .mutate/ in the repository)')
    ap.add_argument('--rev', help='test this git revision (e.g. HEAD) instead of the working tree')
    ap.add_argument('--windows', action='store_true',
                    help='the faults in Win32 files, cross-built and tested under Wine')
    ap.add_argument('--check', action='store_true',
                    help='only report faults whose old text is not found exactly once')
    args = ap.parse_args()

    with open(args.list, encoding='utf-8') as f:
        faults = select(parse_faults(f.read(), args.list), args.numbers, args.files)
    # Win32 files are built only for Windows: their faults go with --windows.
    if not args.check:
        faults = [f for f in faults if ('_win32.' in f.path) == args.windows]
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

    # The tests find the corpus at ../shared/corpus next to the source tree.
    args.workdir = os.path.abspath(args.workdir)
    os.makedirs(args.workdir, exist_ok=True)
    shared = os.path.join(args.workdir, 'shared')
    real_shared = os.path.join(os.path.dirname(ROOT), 'shared')
    if not os.path.lexists(shared) and os.path.isdir(real_shared):
        os.symlink(real_shared, shared)

    jobs = max(1, min(args.jobs, len(faults)))
    build_jobs = 1 if jobs > 1 else 2
    slots = [Slot(args.workdir, k, build_jobs, args.windows) for k in range(jobs)]
    print('preparing %d scratch tree(s) in %s ...' % (jobs, args.workdir), flush=True)
    source = ROOT
    if args.rev:
        source = os.path.join(args.workdir, 'export')
        shutil.rmtree(source, ignore_errors=True)
        os.makedirs(source)
        archive = subprocess.run(['git', '-C', ROOT, 'archive', args.rev], stdout=subprocess.PIPE, check=True)
        subprocess.run(['tar', '-x', '-C', source], input=archive.stdout, check=True)
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
