# SPDX-License-Identifier: Apache-2.0
"""Finds what can be taken out of C++ source text, and writes the text that can do without it.

No C++ parser: the scanner relies on formatted text without statements made by macros, and on what
the compiler would refuse otherwise.
"""
import re
from dataclasses import dataclass

_HIDDEN = re.compile(
    r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'|^[ \t]*#(?:\\\n|[^\n])*',
    re.DOTALL | re.MULTILINE)
_CLOSING = {'(': ')', '[': ']', '{': '}'}
_DECLARATION = re.compile(
    r'(?:(?:const|static|constexpr|auto|using|typedef|struct|class|enum|thread_local|static_assert)\b'
    r'|[\w:]+(?:<.*?>)?(?:::\w+)?(?:\s+[*&]*|[*&]+\s+[*&]*)(?:const\s+)?\w+\s*(?:[=;({\[]|$))', re.DOTALL)
_NO_DECLARATION = re.compile(r'(?:delete|throw|return|goto|co_\w+)\b')
_LOG = re.compile(r'KVT_LOG[A-Z]*\(')


@dataclass
class Mutant:
    """What is taken out (or put in its place) at a line of a file."""
    file: str
    line: int
    text: str
    number: int = 0
    logs: bool = False
    faulty: str = ''  # the whole file's text, where a mutant takes a build of its own
    noticed_by: str = None
    note: str = ''

    def __str__(self):
        details = ', '.join(filter(None, [self.number and f'number {self.number}', self.note]))
        return f'{self.file}:{self.line}: {self.text}' + (f' ({details})' if details else '')


def _mask(text):
    """The text, with what is no code blanked out, position by position."""
    return _HIDDEN.sub(lambda hit: re.sub(r'[^\n]', ' ', hit.group()), text)


def _one_line(text):
    return ' '.join(text.split())


class _Statements:
    """The deletable statements of one file, as edits: pairs of position and text to insert."""

    def __init__(self, file, text, first_number):
        self.file, self.text, self.code = file, text, _mask(text)
        self.mutants, self.edits, self.next = [], [], first_number
        self._scope(0, len(text))

    def _close(self, opening):
        """The position of the bracket that closes the one at a position."""
        depth = 0
        for at in range(opening, len(self.code)):
            if self.code[at] in '([{':
                depth += 1
            elif self.code[at] in ')]}':
                depth -= 1
                if depth == 0:
                    return at
        raise ValueError(f'{self.file}: a bracket is not closed')

    def _skip(self, at, end):
        while at < end and self.code[at].isspace():
            at += 1
        return at

    def _add(self, start, end, text=None):
        text = _one_line(text or self.text[start:end])
        number = self.next
        self.next += 1
        self.mutants.append(Mutant(self.file, self.text.count('\n', 0, start) + 1, text, number,
                                   bool(_LOG.match(text))))
        return f'KvtMutant({number})'

    def _scope(self, at, end):
        """Namespaces and classes: everything in which functions are."""
        head = at
        while at < end:
            char = self.code[at]
            if char in ';}':
                head = at + 1
            elif char == '{':
                before, close = self.code[head:at].strip(), self._close(at)
                if re.search(r'\)[\s\w]*$', before) and '=' not in before.split('(')[0]:
                    if not re.search(r'\bconstexpr\b', before):
                        self._block(at, close, close, self._returns_nothing(before))
                    head = close + 1
                elif re.search(r'\b(namespace|class|struct)\b', before):
                    self._scope(at + 1, close)
                    head = close + 1
                at = close
            at += 1

    @staticmethod
    def _returns_nothing(head):
        head = re.sub(r'^[A-Z_]+\([^()]*\)\s*', '', head)  # a macro that stands by itself
        name = re.search(r'(~?\w+)\s*\(', head)
        constructor = re.match(r'(?:explicit\s+)?(?:(\w+)::)*~?\w+\s*\(', head)
        return bool(re.search(r'\bvoid\s+[\w:]+\s*\(', head) or (name and constructor))

    def _block(self, opening, close, function_end, void):
        at = self._skip(opening + 1, close)
        while at < close:
            at = self._skip(self._statement(at, close, function_end, void), close)

    def _statement(self, at, end, function_end, void):
        """Handles the statement at a position; returns the position after it."""
        at = self._skip(at, end)
        if self.code[at] == '{':
            close = self._close(at)
            self._block(at, close, function_end, void)
            return close + 1
        word = re.match(r'\w*', self.code[at:end]).group()
        if word in ('if', 'for', 'while', 'switch', 'catch'):
            opening = self.code.index('(', at)
            close = self._close(opening)
            after = self._guard(at, opening, close, end) if word == 'if' else None
            return after or self._statement(close + 1, end, function_end, void)
        if word in ('else', 'do', 'try'):
            return self._statement(at + len(word), end, function_end, void)
        if label := re.match(r'(?:case\b(?:[^:]|::)*|default\s*):(?!:)', self.code[at:end]):
            return at + label.end()
        return self._simple(at, word, function_end, void)

    def _guard(self, at, opening, close, end):
        """An if that only leaves: its condition is made false."""
        guard = re.match(r'\s*(?:\{\s*)?(return|break|continue)\b[^;{]*;(?:\s*\})?',
                         self.code[close + 1:end])
        if not guard or re.match(r'\s*else\b', self.code[close + 1 + guard.end():end]):
            return None
        after = close + 1 + guard.end()
        condition = self.code.rfind(';', opening, close) + 1 or opening + 1
        if not _DECLARATION.match(self.code[condition:close].strip()):
            self.edits.append((condition, f'!{self._add(at, after)} && ('))
            self.edits.append((close, ')'))
        return after

    def _simple(self, at, word, function_end, void):
        stop = at
        while self.code[stop] != ';':
            stop = self._close(stop) + 1 if self.code[stop] in '([{' else stop + 1
        after, statement = stop + 1, self.code[at:stop + 1]
        if word == 'return':
            falls_through = re.fullmatch(r'[\s}]*', self.code[after:function_end])
            if void and statement != 'return;':
                self.edits += [(at, f'{{ if ({self._add(at, after)}) {{ return; }} '), (after, ' }')]
            elif void and not falls_through:
                self.edits += [(at, f'{{ if (!{self._add(at, after)}) '), (after, ' }')]
        elif statement != ';' and (_NO_DECLARATION.match(statement)
                                   or not _DECLARATION.match(statement)):
            self.edits += [(at, f'{{ if (!{self._add(at, after)}) {{ '), (after, ' } }')]
        for lambda_body in re.finditer(r'\[[^][]*\]\s*(?:\([^()]*\)\s*)?\{', statement):
            opening = at + lambda_body.end() - 1
            close = self._close(opening)
            self._block(opening, close, close, False)
        return after


def statements(file, text, first_number):
    """The mutants of a file's statements, and its text in which KvtMutant(number) deletes one."""
    found = _Statements(file, text, first_number)
    # Of edits at one position, that of the outer statement comes first when it opens.
    for position, insertion in sorted(found.edits, key=lambda edit: edit[0], reverse=True):
        text = text[:position] + insertion + text[position:]
    return found.mutants, text


_OTHER_VALUE = {'kLowHz': 'kHighHz', 'kHighHz': 'kLowHz', 'true': 'false', 'false': 'true',
                '60': '90', '90': '60'}


def _other_values(row):
    """The row with each of its values changed in turn."""
    for hit in re.finditer(r'(?<!\w)(kLowHz|kHighHz|true|false|\d+)(?!\w)', _mask(row)):
        value = hit.group()
        other = _OTHER_VALUE.get(value, str(int(value) + 1) if value.isdigit() else None)
        yield row[:hit.start()] + other + row[hit.end():]


def tables(file, text, name):
    """The mutants of a table: each row dropped, swapped with the next one, its values changed."""
    code = _mask(text)
    opening = re.search(rf'\b{name}\[\w*\]\s*=\s*(\{{)', code)
    if not opening:
        raise ValueError(f'{file} has no table {name}')
    start = at = opening.start(1) + 1
    rows, depth = [], 0
    while depth >= 0:
        depth += (code[at] in '([{') - (code[at] in ')]}')
        if depth < 0 or (depth == 0 and code[at] == ','):
            if code[start:at].strip():
                rows.append((start + len(code[start:at]) - len(code[start:at].lstrip()), at))
            start = at + 1
        at += 1
    texts = [text[begin:end].rstrip() for begin, end in rows]

    def mutant(row, what, changed):
        body = ',\n'.join(changed)
        return Mutant(file, text.count('\n', 0, rows[row][0]) + 1,
                      f'{name}: {_one_line(texts[row])}: {what}',
                      faulty=text[:rows[0][0]] + body + text[rows[-1][1]:])

    for row, value in enumerate(texts):
        yield mutant(row, 'dropped', texts[:row] + texts[row + 1:])
        if row + 1 < len(texts):
            yield mutant(row, 'after the next one',
                         texts[:row] + [texts[row + 1], value] + texts[row + 2:])
        for other in _other_values(value):
            yield mutant(row, 'as ' + _one_line(other), texts[:row] + [other] + texts[row + 1:])
