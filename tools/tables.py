"""What the tools that make a document's tables share: the program they run, a table as text, the comparison."""
import pathlib
import subprocess
import sys


class Lab:
    """vorn-lab, with a directory that it runs in and writes to."""

    def __init__(self, program, directory):
        self.program = str(pathlib.Path(program).resolve())
        self.directory = pathlib.Path(directory)

    def run(self, *words):
        done = subprocess.run([self.program, *map(str, words)], check=False, capture_output=True, text=True,
                              cwd=self.directory)
        if done.returncode != 0:
            sys.exit(f'vorn-lab {" ".join(map(str, words))}:\n{done.stderr}')
        return done.stdout


def markdown(rows):
    """The lines of a table; the first row is its head."""
    rows = list(rows)
    rows.insert(1, ['---'] + ['---:'] * (len(rows[0]) - 1))
    return [f'| {" | ".join(row)} |' for row in rows]


def print_or_check(lines, document):
    """Prints the lines or, with a document's path, fails when one of them is not in it."""
    if document is None:
        print('\n'.join(lines))
        return
    there = pathlib.Path(document).read_text().splitlines()
    missing = [line for line in lines if line and line not in there]
    if missing:
        sys.exit(f'{document} does not have:\n' + '\n'.join(missing))
