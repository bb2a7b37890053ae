#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""ansible_test.py --schedd PROGRAM --schedsh PROGRAM GUIDE: the guide's playbook, carried out on this machine. Exit status 77
when there is no Ansible here."""
import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SITE = 'feature scheduler\nscheduler job name routes\nvtysh -c "show ip route"\nend-job\n\n'


class Site:
    def __init__(self, directory, schedsh, guide):
        self.directory, self.schedsh = directory, [schedsh, '--state-dir', str(directory / 'state')]
        program = directory / 'schedsh'
        program.write_text(f'#!/bin/sh\nexec {" ".join(self.schedsh)} "$@"\n')
        program.chmod(0o755)
        playbook = re.search(r'```yaml\n(.*?)```', guide.read_text(), re.S)[1]
        (directory / 'playbook.yml').write_text(playbook.replace('hosts: switches', 'hosts: localhost\n  gather_facts: false'))
        self.environment = dict(os.environ, PATH=f'{directory}:{os.environ["PATH"]}', HOME=str(directory), LC_ALL='C.UTF-8',
                                ANSIBLE_LOCAL_TEMP=str(directory / 'local'), ANSIBLE_REMOTE_TEMP=str(directory / 'remote'))

    def shell(self, command):
        return subprocess.run(self.schedsh + ['-c', command], capture_output=True, text=True)

    def play(self, text, *options):
        (self.directory / 'site.conf').write_text(text)
        done = subprocess.run(['ansible-playbook', '-i', 'localhost,', '-c', 'local', *options, 'playbook.yml'],
                              cwd=self.directory, env=self.environment, capture_output=True, text=True)
        recap = dict(re.findall(r'(\w+)=(\d+)', done.stdout.split('PLAY RECAP')[-1]))
        return int(recap.get('changed', -1)), int(recap.get('failed', -1)), done.stdout + done.stderr


def expect(found, wanted, said):
    if found != wanted:
        sys.exit(f'{found}, not {wanted}:\n{said}')


def playbook_does_what_the_guide_says(site):
    before = site.shell('show running-config').stdout
    changed, failed, said = site.play(SITE, '--check')
    expect((changed, failed, site.shell('show running-config').stdout), (1, 0, before), said)
    changed, failed, said = site.play(SITE)
    expect((changed, failed, site.shell('show running-config').stdout), (2, 0, SITE), said)
    changed, failed, said = site.play(SITE)
    expect((changed, failed, site.shell('show running-config').stdout), (0, 0, SITE), said)
    changed, failed, said = site.play('feature scheduler\nscheduler logfile size 0\n')
    expect((failed, 'standard input:2: ' in said, site.shell('show running-config').stdout), (1, True, SITE), said)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--schedd', required=True)
    parser.add_argument('--schedsh', required=True)
    parser.add_argument('guide', type=pathlib.Path)
    arguments = parser.parse_args()
    schedd, schedsh = (str(pathlib.Path(program).resolve(strict=True)) for program in (arguments.schedd, arguments.schedsh))
    if shutil.which('ansible-playbook') is None:
        print('there is no ansible-playbook here')
        sys.exit(77)
    with tempfile.TemporaryDirectory() as directory:
        site = Site(pathlib.Path(directory), schedsh, arguments.guide)
        service = subprocess.Popen([schedd, '--state-dir', f'{directory}/state'], stderr=subprocess.DEVNULL)
        try:
            while site.shell('show clock').returncode != 0:
                if service.poll() is not None:
                    sys.exit('the service did not start')
            playbook_does_what_the_guide_says(site)
        finally:
            service.terminate()
            service.wait()


main()
