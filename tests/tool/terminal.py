# SPDX-License-Identifier: MIT OR GPL-2.0
"""A program on a pseudo-terminal."""
import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
import time

SECONDS = float(os.environ.get('IFC_TERMINAL_SECONDS', 30))


class Terminal:
    def __init__(self, command, environment, folder, edits=False):
        """With `edits` the program reads its lines character by character. What is sent before it does so may get lost."""
        self.edits = edits
        self.pid, self.master = pty.fork()
        if self.pid == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)
        self.seen = ""  # since the last match
        self.row, self.column = [], 0  # the current line of the screen, and the cursor in it
        self.status = None

    def send(self, text):
        os.write(self.master, text.encode())

    def read(self, seconds):
        """Adds what the program writes within this time. False: nothing more will come."""
        if not select.select([self.master], [], [], seconds)[0]:
            return True
        try:
            piece = os.read(self.master, 65536)
        except OSError:  # the program has closed the terminal
            return False
        text = piece.decode(errors="replace")
        self.seen += text
        self.draw(text)
        return bool(piece)

    def draw(self, text):
        """Follows the control sequences that libedit writes to an xterm."""
        for parts in re.finditer(r"\x1b\[(\d*)([A-Za-z@])|([\s\S])", text):
            number, command, character = parts.groups()
            count = int(number or 1)
            if character == "\n":
                self.row = []
            elif character == "\r":
                self.column = 0
            elif character == "\b":
                self.column -= 1
            elif command == "G":
                self.column = count - 1
            elif command in ("C", "D"):
                self.column += count if command == "C" else -count
            elif command == "K":
                del self.row[self.column:]
            elif command == "P":
                del self.row[self.column:self.column + count]
            elif command == "@":
                self.row[self.column:self.column] = [" "] * count
            elif character and character >= " ":
                self.row += [" "] * (self.column + 1 - len(self.row))
                self.row[self.column] = character
                self.column += 1

    def expect_line(self, line):
        """Waits until this is the current line of the screen."""
        end = time.monotonic() + SECONDS
        # The cursor may have moved over a space that was not drawn.
        while "".join(self.row).ljust(self.column) != line:
            if time.monotonic() > end or not self.read(0.1):
                raise AssertionError(f"the line is {''.join(self.row)!r}, not {line!r}")
        self.seen = ""

    def expect(self, pattern):
        """Waits for the pattern and returns everything up to its end."""
        end = time.monotonic() + SECONDS
        while True:
            found = re.search(pattern, self.seen)
            if found:
                text, self.seen = self.seen[:found.end()], self.seen[found.end():]
                if self.edits:
                    self.wait_for_editor()
                return text
            if time.monotonic() > end or not self.read(0.1):
                raise AssertionError(f"no {pattern!r} in {self.seen!r}")

    def wait_for_editor(self):
        """Waits until a program reads its line character by character."""
        end = time.monotonic() + SECONDS
        while termios.tcgetattr(self.master)[3] & termios.ICANON:
            if time.monotonic() > end:
                raise AssertionError("nobody edits the line")
            time.sleep(0.01)

    def wait(self):
        """The exit code, negative for a signal."""
        end = time.monotonic() + SECONDS
        while self.status is None:
            pid, status = os.waitpid(self.pid, os.WNOHANG)
            if pid:
                self.status = os.waitstatus_to_exitcode(status)
            elif time.monotonic() > end:
                raise AssertionError(f"still running: {self.seen!r}")
            elif self.master is None:
                time.sleep(0.01)
            else:
                self.read(0.01)
        return self.status

    def wait_for_child(self, generations=1):
        """Waits until the program has a child process, or a child of a child."""
        def children(pid):
            with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
                return file.read().split()
        end = time.monotonic() + SECONDS
        while time.monotonic() < end:
            pids = [self.pid]
            for _ in range(generations):
                pids = [child for pid in pids for child in children(pid)]
            if pids:
                return
            time.sleep(0.01)
        raise AssertionError("no child process")

    def wait_for_job(self):
        """Waits until a shell has given the terminal to a job."""
        end = time.monotonic() + SECONDS
        while os.tcgetpgrp(self.master) == self.pid:
            if time.monotonic() > end:
                raise AssertionError("the shell keeps the terminal")
            time.sleep(0.01)

    def resize(self, columns, rows=24):
        """The program gets SIGWINCH."""
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def hang_up(self):
        os.close(self.master)
        self.master = None

    def close(self):
        if self.master is not None:
            self.hang_up()
        if self.status is None:
            os.kill(self.pid, signal.SIGKILL)
            os.waitpid(self.pid, 0)
            self.status = -signal.SIGKILL
