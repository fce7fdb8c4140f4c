#!/usr/bin/env bash
# Checks the layering rule of docs/architecture.md from the CMake files and the
# sources alone (no build needed):
#  - a source includes only headers of its own target or of targets it links,
#    directly or through others, so no layer reaches up;
#  - the targets without a window system link no Qt Widgets;
#  - the emulator links nothing of the host, the host nothing of the plug-in.
set -euo pipefail
cd "$(dirname "$0")/.."
exec python3 - "$@" <<'PY'
import os, re, sys

ROOT = os.getcwd()
SKIP = ('tests', 'bench', 'build', 'fuzz', '.git')
NO_WIDGETS = ['support', 'platform_core', 'protocol', 'qmd_plugincore', 'qmd_variables',
              'qmd_updatecore', 'qmd_toolscore', 'qmd_auditcore', 'qmd_history', 'qmd_links', 'qmd_mqtt', 'emulatorcore',
              'qmdvars_core', 'qmdvars', 'qmdvars_accounts', 'qmdvars_serve']
WIDGET_LIBS = {'Qt6::Widgets', 'Qt6::PrintSupport'}
PLUGIN_DIRS = ('plugin', 'variables', 'update', 'manager', 'tools', 'audit', 'links')

targets = {}   # name -> {'dir', 'sources': set(abs paths), 'links': set()}
def commands(text):
    text = re.sub(r'#[^\n]*', '', text)
    for m in re.finditer(r'\b([A-Za-z_]+)\s*\(([^()]*(?:\([^()]*\)[^()]*)*)\)', text):
        yield m.group(1), m.group(2).split()

for dirpath, dirnames, filenames in os.walk(ROOT):
    rel = os.path.relpath(dirpath, ROOT)
    dirnames[:] = [d for d in dirnames if not (rel == '.' and d in SKIP) and not d.startswith('.')]
    if 'CMakeLists.txt' not in filenames or rel == '.':
        continue
    for cmd, args in commands(open(os.path.join(dirpath, 'CMakeLists.txt')).read()):
        if cmd in ('add_library', 'add_executable', 'lumarex_component_library'):
            name, rest = args[0], args[1:]
            t = targets.setdefault(name, {'dir': rel, 'sources': set(), 'links': set()})
            mode = 'SOURCES'
            for a in rest:
                if a in ('STATIC', 'SHARED', 'OBJECT', 'INTERFACE'):
                    continue
                if a in ('SOURCES', 'LIBS'):
                    mode = a
                    continue
                if mode == 'LIBS':
                    t['links'].add(a)
                elif re.search(r'\.(cpp|h)$', a):
                    t['sources'].add(os.path.normpath(os.path.join(dirpath, a)))
            if cmd == 'lumarex_component_library':
                t['links'].add('platform_core')
        elif cmd == 'target_link_libraries':
            t = targets.setdefault(args[0], {'dir': rel, 'sources': set(), 'links': set()})
            t['links'].update(a for a in args[1:] if a not in ('PUBLIC', 'PRIVATE', 'INTERFACE'))

def closure(name, seen=None):
    seen = set() if seen is None else seen
    for l in targets.get(name, {}).get('links', ()):
        if l not in seen:
            seen.add(l)
            closure(l, seen)
    return seen

owner = {}
for name, t in targets.items():
    for s in t['sources']:
        owner.setdefault(s, name)
# A header nobody lists belongs with its .cpp.
headers = {}
for dirpath, dirnames, filenames in os.walk(ROOT):
    rel = os.path.relpath(dirpath, ROOT)
    dirnames[:] = [d for d in dirnames if not (rel == '.' and d in SKIP) and not d.startswith('.')]
    for f in filenames:
        p = os.path.join(dirpath, f)
        if f.endswith('.h'):
            headers.setdefault(f, []).append(p)
            cpp = p[:-2] + '.cpp'
            if p not in owner and cpp in owner:
                owner[p] = owner[cpp]

problems = []
for name, t in sorted(targets.items()):
    allowed = closure(name) | {name}
    for src in sorted(t['sources']):
        if not os.path.exists(src):
            continue
        for line_no, line in enumerate(open(src, encoding='utf-8', errors='replace'), 1):
            m = re.match(r'\s*#\s*include\s+"([^"]+)"', line)
            if not m:
                continue
            inc = m.group(1)
            local = os.path.normpath(os.path.join(os.path.dirname(src), inc))
            if os.path.exists(local):
                found = [local]
            else:
                found = headers.get(os.path.basename(inc), [])
            if not found:
                continue
            h = found[0]
            if len(found) > 1:
                problems.append(f'{os.path.relpath(src)}:{line_no}: "{inc}" names more than one header')
                continue
            ht = owner.get(h)
            if ht is None:
                problems.append(f'{os.path.relpath(src)}:{line_no}: "{inc}" belongs to no target')
            elif ht not in allowed:
                problems.append(f'{os.path.relpath(src)}:{line_no}: {name} includes "{inc}" of {ht}, '
                                'which it does not link (a layer reaching up)')

for name in NO_WIDGETS:
    if name not in targets:
        problems.append(f'{name}: no such target')
        continue
    bad = closure(name) & WIDGET_LIBS
    if bad:
        problems.append(f'{name} links {", ".join(sorted(bad))} but must work without a window system')

def under(name, dirs):
    d = targets.get(name, {}).get('dir', '')
    return d.split(os.sep)[0] in dirs
for name, t in targets.items():
    c = closure(name)
    if t['dir'].startswith('emulator'):
        bad = sorted(l for l in c if under(l, ('host',)))
        if bad:
            problems.append(f'{name} (emulator) links the host\'s {", ".join(bad)}')
    if t['dir'].startswith('host'):
        bad = sorted(l for l in c if under(l, PLUGIN_DIRS))
        if bad:
            problems.append(f'{name} (host) links the plug-in\'s {", ".join(bad)}')

if problems:
    print('Layering problems:')
    print('\n'.join('  ' + p for p in problems))
    sys.exit(1)
print(f'layers: {len(targets)} targets, {len(owner)} sources and headers checked')
PY
