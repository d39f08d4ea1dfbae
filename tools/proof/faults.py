"""One-token faults in C++ source text: where one can be planted, and which ones a seed draws.

A fault is a comparison, an operator or a constant exchanged, or a statement gone. Which ones are drawn depends on
the seed and on the line alone, so that a change elsewhere leaves the draw as it was; every line that can hold a
fault is as likely as any other, however many it can hold.
"""
import re
from dataclasses import dataclass

EXCHANGED = {
    '<': ['<=', '>='], '<=': ['<', '>'], '>': ['>=', '<='], '>=': ['>', '<'], '==': ['!='], '!=': ['=='],
    '&&': ['||'], '||': ['&&'], '+': ['-'], '-': ['+'], '*': ['/'], '/': ['*'], '%': ['/'], '<<': ['>>'],
    '>>': ['<<'], '&': ['|'], '|': ['&'], '+=': ['-='], '-=': ['+='], '*=': ['/='], '/=': ['*='],
    'true': ['false'], 'false': ['true'], 'break;': [';'], 'continue;': [';'],
}
COMMENT_OR_TEXT = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.S)
# What clang-format writes between blanks is a binary operator, not a template's bracket nor a pointer's star.
OPERATOR = re.compile(r'(?<= )(?:<=|>=|==|!=|&&|\|\||<<|>>|[-+*/]=|[-<>+*/%&|])(?=\s)')
WORD = re.compile(r'\b(?:true|false)\b|\b(?:break|continue);')
NOT = re.compile(r'(?<=[(\s])!(?=[\w(])')
STEP = re.compile(r'\+\+|--')
NUMBER = re.compile(r"(?<![\w.])(0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d*)?(?:[eE][-+]?\d+)?)([uUlLfF]*)(?![\w.])")
STATEMENT = re.compile(r'(?<=^)(\s*)((?!return\b|using\b|static_assert|constexpr|const\b|struct\b|class\b|goto\b|#)'
                       r'[\w.:\[\]>*()-]+(?:\(.*\)| [-+*/%|&]?= .*|\+\+|--));$')


@dataclass(frozen=True)
class Fault:
    path: str
    line: int    # from 1
    before: str  # the line, without the blanks around it
    after: str
    nth: int     # which of the file's lines of that text, from 1
    start: int   # in the file
    end: int
    text: str    # in place of what stands there

    def name(self):
        return f'{self.path}{"" if self.nth == 1 else f" #{self.nth}"}\n- {self.before}\n+ {self.after}'


def blanked(source):
    """The text with comments, literals, preprocessor lines and assertions as blanks, all else where it was."""
    text = COMMENT_OR_TEXT.sub(lambda m: re.sub(r'[^\n]', ' ', m[0]), source)
    return re.sub(r'^\s*(?:#(?:.*\\\n)*.*|static_assert\([^;]*;)', lambda m: re.sub(r'[^\n]', ' ', m[0]), text, flags=re.M)


def other_numbers(digits, suffix):
    if '.' in digits or ('e' in digits.lower() and 'x' not in digits.lower()):
        return [f'({digits}{suffix} * 2)', f'({digits}{suffix} + 1)'] if float(digits) else [f'1.0{suffix}']
    value = int(digits.replace("'", ''), 0) if not re.fullmatch(r"0\d+", digits) else int(digits, 8)
    others = [value + 1] + ([value - 1] if value > 0 else [])
    return [f'{each}{suffix}' for each in others]


def tokens(line):
    """(start, end, replacements) of each token of a blanked line that can be exchanged."""
    for pattern in (OPERATOR, WORD):
        for m in pattern.finditer(line):
            yield m.start(), m.end(), EXCHANGED.get(m[0], [])
    for m in NOT.finditer(line):
        yield m.start(), m.end(), ['']
    for m in STEP.finditer(line):
        yield m.start(), m.end(), ['--' if m[0] == '++' else '++']
    for m in NUMBER.finditer(line):
        yield m.start(), m.end(), other_numbers(m[1], m[2])
    statement = STATEMENT.match(line.rstrip())
    if statement:
        yield statement.start(2), statement.end(2), ['']


def faults_by_line(path, source):
    """A list of faults for each line that can hold any."""
    lines, seen, start = [], {}, 0
    for number, (line, code) in enumerate(zip(source.split('\n'), blanked(source).split('\n')), 1):
        before = line.strip()
        seen[before] = nth = seen.get(before, 0) + 1
        found = [Fault(path, number, before, (line[:b] + text + line[e:]).strip(), nth, start + b, start + e, text)
                 for b, e, texts in tokens(code) for text in texts]
        if found:
            lines.append(found)
        start += len(line) + 1
    return lines


MASK = (1 << 64) - 1


def draw(*of):
    """64 random bits for these values: FNV-1a over their text, then the finaliser of splitmix64."""
    z = 0xCBF29CE484222325
    for byte in '\0'.join(map(str, of)).encode():
        z = (z ^ byte) * 0x100000001B3 & MASK
    for shift, factor in ((30, 0xBF58476D1CE4E5B9), (27, 0x94D049BB133111EB)):
        z = (z ^ (z >> shift)) * factor & MASK
    return z ^ (z >> 31)


def in_drawn_order(lines, seed):
    """One fault of each line, lines in the order the seed gives them; then a second one of each, and so on."""
    for turn in range(max(map(len, lines), default=0)):
        in_turn = [sorted(each, key=lambda f: draw(seed, f.path, f.nth, f.before, f.after))[turn]
                   for each in lines if len(each) > turn]
        yield from sorted(in_turn, key=lambda f: draw(seed, turn, f.path, f.nth, f.before))
