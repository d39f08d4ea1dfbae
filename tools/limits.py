#!/usr/bin/env python3
"""Makes docs/limits.md from the comments at the constants of src/, or checks that it is what they make.

    tools/limits.py            prints the document
    tools/limits.py --check    compares it with docs/limits.md; ends with 1 when it differs

A limit is a constant whose comment, on its line or the one above, is a sentence about it:

    constexpr std::uint64_t RELEASE_AFTER_S = 300;  // time since the flag was raised > this: the flag may drop

quantity, comparison, consequence. The unit is that of the name, or stands in brackets behind the quantity. A
constant that the code compares with something and that has no such sentence is an error, unless it is named below
with its kind.
"""

import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[1]
DOCUMENT = PROJECT / 'docs' / 'limits.md'

MODULES = [
    ('core', 'Core'), ('charge_mgr', 'Top of charge'), ('monitors', 'Monitors'), ('precharge', 'Precharge'),
    ('stress', 'Battery stress'), ('battery', 'Battery parameters'), ('dyn_soc', 'Estimator'),
]
UNITS = {
    'S': 's', 'H': 'h', 'MV': 'mV', 'TENTH_MV': '0.1 mV', 'UV': 'µV', 'MA': 'mA', 'UA': 'µA', 'C': '°C',
    'DECIC': '0.1 °C', 'MC': '0.001 °C', 'PCT': '%', 'PPM10': '10 ppm',
}
# Compared with, yet no limits: codes, markers, counts, sizes and factors.
NO_LIMITS = re.compile(r'(INVALID|RESULT|STATUS|STATE|ERR|NO|NOTHING)_\w+|LANDING_(IDLE|ARMED|LANDING|LANDED|FULL)|'
                       r'\w+_(BANDS|COUNT|SIZE|SLOTS|POINTS|TEMPS|VENDORS|VERSION|SCALE)|\w+_PER_\w+|SOC_FULL|MEET_AFTER_GAPS')

CONSTANT = re.compile(r'^(?:inline )?constexpr (?:std::)?(?:u?int\d+_t|unsigned|int|float|double) (\w+) =\s*([^;]+);'
                      r'(?:\s*// (.*))?$')
SENTENCE = re.compile(r'(?P<quantity>.+?)(?: \[(?P<unit>[^\]]+)\])?,? (?P<comparison><=?|>=?|=) this(?P<aside>[^:]*): '
                      r'(?P<consequence>.+)')
WORDS = {'<': 'less than', '<=': 'at most', '>': 'more than', '>=': 'at least', '=': 'exactly'}


def fail(message):
    sys.exit(f'limits: {message}')


def unit_of(name, sentence, place):
    if sentence['unit']:
        return sentence['unit']
    words = name.split('_')
    for count in (2, 1):
        suffix = '_'.join(words[-count:])
        if suffix in UNITS:
            return UNITS[suffix]
    fail(f'{place}: no unit in the name {name} and none in brackets')


def number(text, constants):
    """A value as it is read: a formula of whole numbers and other constants is worked out."""
    formula = re.sub(r'[A-Z]\w+', lambda name: constants[name[0]], text.replace('.0F', '').replace('.0', ''))
    if not re.fullmatch(r'[-\d *+]+', formula):
        fail(f'{text} is more than a formula of whole numbers')
    return str(eval(formula))


def limits_of(path):
    lines = path.read_text().split('\n')
    found = []
    for i, line in enumerate(lines):
        if not (constant := CONSTANT.match(line)):
            continue
        comment = constant[3] or ''
        above = lines[i - 1].strip()
        sentence = SENTENCE.fullmatch(comment) or (SENTENCE.fullmatch(above[3:]) if above.startswith('// ') else None)
        found.append((constant[1], constant[2], sentence, f'{path.relative_to(PROJECT)}:{i + 1}'))
    return found


def sources(folder):
    return sorted(path for path in (PROJECT / 'src' / folder).rglob('*')
                  if path.suffix in ('.h', '.cpp') and path.name != 'curves.cpp')


def is_compared(name, text):
    comparison = '(?:[<>]=?|[!=]=)'
    return re.search(rf'{comparison} -?{name}\b|\b{name} {comparison} |'
                     rf'\b(?:clamp|min|max|is_within)\([^;()]*\b{name}\b', text)


def section(folder, title):
    text = re.sub(r'static_assert\([^;]*;', '', '\n'.join(path.read_text() for path in sources(folder)))
    constants = {name: value for path in sources(folder) for name, value, _, _ in limits_of(path)}
    rows = []
    for path in sources(folder):
        for name, value, sentence, place in limits_of(path):
            if sentence is None:
                if is_compared(name, text) and not NO_LIMITS.fullmatch(name):
                    fail(f'{place}: {name} is compared with something, but no sentence says what a limit it is')
                continue
            quantity = sentence['quantity'][0].upper() + sentence['quantity'][1:]
            unit = unit_of(name, sentence, place)
            times = '× ' if unit[0].isdigit() else ''
            rows.append(f"| {quantity} | {WORDS[sentence['comparison']]} {number(value, constants)} {times}{unit}"
                        f"{sentence['aside']} | {sentence['consequence']} | `{name}` |")
    if not rows:
        return ''
    return (f'\n## {title}\n\n| what | limit | then | `src/{folder}/` |\n|---|---|---|---|\n' + '\n'.join(rows) + '\n')


def document():
    return ('# Limits\n\nEvery value at which the daemon changes what it does. Made by `tools/limits.py` from the '
            'comments at the constants;\na test compares. "At least" and "at most" include the value, "more than" and '
            '"less than" do not.\n' + ''.join(section(*module) for module in MODULES))


def main():
    made = document()
    if '--check' not in sys.argv[1:]:
        print(made, end='')
    elif DOCUMENT.read_text() != made:
        fail('docs/limits.md is not what the constants say; run tools/limits.py > docs/limits.md')


if __name__ == '__main__':
    main()
