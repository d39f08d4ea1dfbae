#!/usr/bin/env python3
"""write_part.py DOCUMENT NAME: puts standard input between the lines <!-- NAME: ... --> and <!-- end of NAME -->."""

import pathlib
import re
import sys

if len(sys.argv) != 3:
    sys.exit(__doc__)
document, name = pathlib.Path(sys.argv[1]), re.escape(sys.argv[2])
part = sys.stdin.read().strip()
text, times = re.subn(rf'(<!-- {name}: .*? -->\n).*?(<!-- end of {name} -->)', lambda found: f'{found[1]}{part}\n{found[2]}',
                      document.read_text(), flags=re.DOTALL)
if times != 1:
    sys.exit(f'{document}: {times} places for {sys.argv[2]}')
document.write_text(text)
