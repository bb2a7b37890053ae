#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""make.py --schedsh PROGRAM --schedd PROGRAM [--check]: the manual pages from their texts (*.in) and from what the
programs and the header say of themselves. With --check nothing is written: exit status 1 when a page is not current."""
import argparse
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).parent
ROOT = HERE.parent.parent


def quoted(text):
    text = text.replace('\\', '\\e').replace('-', '\\-')
    return re.sub(r"^([.'])", r'\\&\1', text, flags=re.M)


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def tagged(tag, text):
    return f'.TP\n.B {quoted(tag)}\n{quoted(text)}\n'


def options(program):
    lines = output_of(program, '--help').split('Options:\n')[1].split('\n\n')[0].splitlines()
    return ''.join(tagged(*re.split(r'\s{2,}', line.strip(), maxsplit=1)) for line in lines)


def rows_of_chapter(manual, title):
    chapter = manual.split(f'\n## {title}\n')[1].split('\n## ')[0]
    return re.findall(r'^\| `(.*)` \| (.*) \|$', chapter, flags=re.M)


def commands(schedsh):
    manual = output_of(schedsh, '--manual')
    text = ''
    for title in ('First mode', 'Configuration mode', 'Schedule mode'):
        text += f'.SS {title}\n' + ''.join(tagged(*row) for row in rows_of_chapter(manual, title))
    return text


def parameters(schedsh):
    return ''.join(tagged(*row) for row in rows_of_chapter(output_of(schedsh, '--manual'), 'What is filled in'))


def settings():
    """Of the file that the service's table of settings makes, and that a test holds to it."""
    text = ''
    for block in (ROOT / 'packaging/schedd.conf').read_text().split('\n\n'):
        comments = [line[2:] for line in block.splitlines() if line.startswith('# ')]
        for line in block.splitlines():
            if line.startswith('['):
                text += f'.SS {quoted(line)}\n'
                text += ''.join(quoted(comment) + '\n' for comment in comments if 'further group' in comment)
            elif match := re.match(r'#([a-z-]+)=(.*)$', line):
                default = f' Default: {match[2]}.' if match[2] else ''
                text += tagged(match[1], ' '.join(comments) + default)
    return text


def comment_text(comment):
    lines = [re.sub(r'^\s*/?\*+/?', '', line).removesuffix('*/').strip() for line in comment.splitlines()]
    return '\n'.join(lines).strip()


def header():
    return (ROOT / 'include/schedcli.h').read_text()


def conventions():
    text = comment_text(re.findall(r'/\*.*?\*/', header(), flags=re.S)[1])
    about, rules = text.split('What holds everywhere, unless a function says otherwise:')
    items = re.split(r'^- ', rules, flags=re.M)[1:]
    page = quoted(' '.join(about.split('\n', 2)[2].split())) + '\n.PP\nWhat holds everywhere, unless a function says otherwise:\n'
    return page + ''.join(f'.IP \\(bu 2\n{quoted(" ".join(item.split()))}\n' for item in items)


def functions():
    pattern = r'(/\*(?:(?!\*/).)*\*/\n)((?:(?!/\*|#|\n\n|[{}]).)*?\);)'
    page = ''
    for comment, declarations in re.findall(pattern, header(), flags=re.S):
        page += '.PP\n.nf\n' + ''.join(f'.B {quoted(line.strip())}\n' for line in declarations.splitlines()) + '.fi\n'
        page += f'.RS\n{quoted(" ".join(comment_text(comment).split()))}\n.RE\n'
    return page


def page_of(template, arguments):
    parts = {
        'SCHEDSH-OPTIONS': lambda: options(arguments.schedsh),
        'SCHEDD-OPTIONS': lambda: options(arguments.schedd),
        'COMMANDS': lambda: commands(arguments.schedsh),
        'PARAMETERS': lambda: parameters(arguments.schedsh),
        'SETTINGS': settings,
        'CONVENTIONS': conventions,
        'FUNCTIONS': functions,
    }
    return re.sub(r'^@([A-Z-]+)@\n', lambda match: parts[match[1]](), template.read_text(), flags=re.M)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--schedsh', required=True)
    parser.add_argument('--schedd', required=True)
    parser.add_argument('--check', action='store_true')
    arguments = parser.parse_args()
    stale = []
    for template in sorted(HERE.glob('*.in')):
        page = HERE / template.stem
        text = page_of(template, arguments)
        if arguments.check and page.read_text() != text:
            stale.append(page.name)
        elif not arguments.check:
            page.write_text(text)
    if stale:
        sys.exit(f'{", ".join(stale)}: not current; ninja manuals makes them')


main()
