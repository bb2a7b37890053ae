#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""guide_test.py --schedd PROGRAM --schedsh PROGRAM GUIDE [--write]: runs the commands of a guide's screens on a service of
its own, in a fixed zone at fixed times, and compares what they say. A screen is a block of "console": "$ " begins a
command, "> " goes on with it, and what it says follows, with "[status N]" where that is not 0. Comments of the guide
set the clock, or run what its reader does not see:
<!-- clock: 2027-01-15 12:00 -->   <!-- unseen: COMMAND -->
With --write the guide gets what the commands say now."""
import argparse
import calendar
import os
import pathlib
import pwd
import re
import struct
import subprocess
import sys
import tempfile
import time

BLOCK = re.compile(r'(?P<clock><!-- clock: (?P<at>.*?) -->)|<!-- unseen: (?P<unseen>.*?) -->|(?P<begin>```console\n)(?P<screen>.*?)(?P<end>^```$)',
                   re.S | re.M)


class Clock:
    """As tests/system/moved_clock.h has it; each command begins at the same second."""

    def __init__(self, path):
        self.path, self.now = path, 0
        path.write_bytes(bytes(8))

    def set(self, text):
        self.now = calendar.timegm(time.strptime(text + ':20', '%Y-%m-%d %H:%M:%S')) - 3600  # Berlin in winter

    def apply(self):
        with open(self.path, 'r+b', buffering=0) as file:
            file.write(struct.pack('=q', self.now - int(time.time())))


class Site:
    def __init__(self, directory, schedsh):
        self.directory = directory
        self.clock = Clock(directory / 'clock')
        programs = directory / 'bin'
        programs.mkdir()
        # What the machine may not have; a job's own environment begins with nothing, and its interpreter knows of it.
        self.program(programs / 'vtysh', 'printf "Codes: K - kernel route, C - connected\\n\\nC>* 192.0.2.0/24 is directly connected, eth0\\n"')
        self.program(programs / 'interpreter', f'PATH={programs}:$PATH exec /bin/sh "$@"')
        self.program(programs / 'schedsh', f'exec {schedsh} --state-dir {directory}/state "$@"')
        self.environment = dict(os.environ, TZ='Europe/Berlin', SCHEDCLI_TEST_CLOCK=str(directory / 'clock'), LC_ALL='C.UTF-8',
                                PATH=f'{programs}:{os.environ["PATH"]}')
        self.work = directory / 'work'
        self.work.mkdir()

    @staticmethod
    def program(path, line):
        path.write_text(f'#!/bin/sh\n{line}\n')
        path.chmod(0o755)

    def start(self, schedd):
        errors = open(self.directory / 'errors', 'w')
        self.service = subprocess.Popen([schedd, '--state-dir', self.directory / 'state', '--interpreter',
                                         self.directory / 'bin/interpreter'], env=self.environment, stderr=errors)
        while self.run('schedsh -c "show clock"').endswith(']\n'):
            if self.service.poll() is not None:
                sys.exit((self.directory / 'errors').read_text())

    def run(self, command):
        self.clock.apply()
        done = subprocess.run(['bash', '-c', command], cwd=self.work, env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return done.stdout + (f'[status {done.returncode}]\n' if done.returncode != 0 else '')

    def stop(self):
        self.service.terminate()
        self.service.wait()


def commands_of(screen):
    command = None
    for line in screen.splitlines():
        if line.startswith('$ '):
            if command is not None:
                yield command
            command = line[2:]
        elif line.startswith('> ') or line == '>':
            command += '\n' + line[2:]
    if command is not None:
        yield command


def screen_of(site, screen):
    text = ''
    for command in commands_of(screen):
        text += '$ ' + command.replace('\n', '\n> ') + '\n' + site.run(command)
    return re.sub(r'^> $', '>', text, flags=re.M)


def played(site, guide):
    def play(match):
        if match['clock']:
            site.clock.set(match['at'])
        elif match['unseen']:
            said = site.run(match['unseen'])
            if said:
                sys.exit(f'{match["unseen"]}\n{said}')
        else:
            return match['begin'] + screen_of(site, match['screen']).replace(str(site.directory), '') + match['end']
        return match[0]

    return BLOCK.sub(play, guide)


def settled(text):
    """Without what is another each time: the user, seconds, durations, processes, and how wide that makes a column."""
    text = re.sub(rf'\b{re.escape(pwd.getpwuid(os.getuid()).pw_name)}\b', 'root', text)
    text = re.sub(r'(\d\d:\d\d):\d\d', r'\1:00', text)
    text = re.sub(r'\d+\.\d{3}s', '0.000s', text)
    text = re.sub(r'process \d+', 'process 1', text)
    return re.sub(r'[ \t]+', ' ', text)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--schedd', required=True)
    parser.add_argument('--schedsh', required=True)
    parser.add_argument('--write', action='store_true')
    parser.add_argument('guide', type=pathlib.Path)
    arguments = parser.parse_args()
    schedd, schedsh = (pathlib.Path(program).resolve(strict=True) for program in (arguments.schedd, arguments.schedsh))
    guide = arguments.guide.read_text()
    with tempfile.TemporaryDirectory() as directory:
        site = Site(pathlib.Path(directory), schedsh)
        site.clock.set('2027-01-15 12:00')
        site.start(schedd)
        try:
            now = played(site, guide)
        finally:
            site.stop()
    if guide.count('```console') < 5:
        sys.exit('the guide has no screens')
    if arguments.write:
        arguments.guide.write_text(now)
    elif settled(now) != settled(guide):
        import difflib
        sys.stdout.writelines(difflib.unified_diff(settled(guide).splitlines(True), settled(now).splitlines(True), 'guide', 'now'))
        sys.exit('the guide is not current; see ninja guide')


main()
