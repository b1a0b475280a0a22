"""The programs that a match talks to through pipes: the engines and the referee."""

import os
import select
import subprocess
import time

START_SECONDS = 60.0  # an engine loads its network and clears its hash table in that time
STOP_SECONDS = 2.0  # an engine that was told to quit or to stop has this long


class ProgramEnded(Exception):
    """The program at the other end of the pipe is gone; the text says how it ended."""


class NoAnswer(Exception):
    """The program did not answer in time."""


class Interrupted(Exception):
    """The match is to end now."""


class SetupError(Exception):
    """An engine can't be used at all; the match makes no sense."""


class StopSignal:
    """Ends every wait of all threads at once, by a pipe that they all watch."""

    def __init__(self):
        self.read_end, self.write_end = os.pipe()
        self.is_set = False

    def set(self):
        if not self.is_set:
            self.is_set = True
            os.write(self.write_end, b"x")  # never read, so all waits see it


class Pipe:
    """A program with lines in and lines out. Times are seconds of time.perf_counter()."""

    def __init__(self, command, stop):
        self.stop = stop
        try:
            # In a session of its own, so that Ctrl-C reaches the match alone.
            self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0,
                                            start_new_session=True)
        except OSError as error:
            raise SetupError(f"can't start {' '.join(command)}: {error.strerror}") from error
        self.input = self.process.stdin.fileno()
        self.output = self.process.stdout.fileno()
        self.poll = select.poll()
        self.poll.register(self.output, select.POLLIN)
        self.poll.register(stop.read_end, select.POLLIN)
        self.rest = b""  # the start of a line that is not complete
        self.lines = []  # complete lines that were not asked for yet, the next one last
        self.read_time = 0.0  # when the line last returned was read

    def send(self, text):
        data = (text + "\n").encode()
        try:
            while data:
                data = data[os.write(self.input, data):]
        except OSError as error:
            raise ProgramEnded(self.how_it_ended()) from error

    def read_line(self, deadline):
        """The next line. NoAnswer when there is none at the deadline."""
        while not self.lines:
            left = deadline - time.perf_counter()
            events = self.poll.poll(max(0.0, left * 1000.0))
            if self.stop.is_set:
                raise Interrupted()
            if not events:
                # The poll counts whole milliseconds and may come back a fraction early.
                if time.perf_counter() < deadline:
                    continue
                raise NoAnswer()
            data = os.read(self.output, 65536)
            self.read_time = time.perf_counter()
            if not data:
                raise ProgramEnded(self.how_it_ended())
            parts = (self.rest + data).split(b"\n")
            self.rest = parts.pop()
            self.lines = parts[::-1]
        return self.lines.pop().rstrip(b"\r").decode(errors="replace")

    def how_it_ended(self):
        try:
            code = self.process.wait(STOP_SECONDS)
        except subprocess.TimeoutExpired:
            return "closed its output"
        return f"ended by signal {-code}" if code < 0 else f"ended with exit code {code}"

    def close(self):
        """Asks the program to quit, and ends it when it does not."""
        try:
            os.write(self.input, b"quit\n")
        except OSError:
            pass
        for stream in (self.process.stdin, self.process.stdout):
            stream.close()
        try:
            self.process.wait(STOP_SECONDS)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    def kill(self):
        self.process.kill()
        self.close()


class Referee:
    """The rules of the game, from tarn-referee."""

    def __init__(self, command, stop):
        self.pipe = Pipe(command, stop)

    def ask(self, request):
        """The answer, or None when the referee refuses; then `reason` says why."""
        self.pipe.send(request)
        answer = self.pipe.read_line(time.perf_counter() + START_SECONDS)
        if answer.startswith("error"):
            self.reason = answer[len("error "):]
            return None
        return answer

    def new_game(self, fen, chess960=False):
        """(state, FEN), or None for a position that is none."""
        answer = self.ask(f"{'new960' if chess960 else 'new'} {fen}")
        return answer and tuple(answer.split(" ", 1))

    def play(self, move):
        """(SAN, state, FEN), or None for an illegal move."""
        answer = self.ask(f"move {move}")
        return answer and tuple(answer.split(" ", 2))

    def move_of_san(self, san):
        return self.ask(f"san {san}")

    def legal_moves(self):
        return (self.ask("moves") or "").split()

    def close(self):
        self.pipe.close()


class Engine:
    """A UCI engine with its options set. Started on first use and again after each fault."""

    # Sent to engines that have them unless the user says otherwise: equal means for both sides.
    DEFAULTS = {"Hash": "16", "Threads": "1", "OwnBook": "false"}

    def __init__(self, name, command, options, stop, chess960=False):
        self.name = name
        self.command = command
        self.options = dict(options)
        if chess960:
            self.options["UCI_Chess960"] = "true"
        self.stop = stop
        self.pipe = None
        self.score = None  # centipawns of the last search, mates beyond +-30000; None when not told
        self.depth = None

    def start(self):
        self.pipe = Pipe(self.command, self.stop)
        try:
            self.pipe.send("uci")
            known = {}
            for line in self.lines_until("uciok"):
                if line.startswith("option name "):
                    name = line[len("option name "):].split(" type ")[0]
                    known[name.lower()] = name
            self.set_options(known)
        except NoAnswer as error:
            raise SetupError(f"{self.name}: no answer to the start of the protocol") from error
        except ProgramEnded as error:
            raise SetupError(f"{self.name}: {error} while it was set up") from error

    def set_options(self, known):
        for name in self.options:
            if name.lower() not in known:
                raise SetupError(f"{self.name}: the engine has no option {name}")
        wanted = {known[name.lower()]: value for name, value in self.DEFAULTS.items() if name.lower() in known}
        wanted.update({known[name.lower()]: value for name, value in self.options.items()})
        for name, value in wanted.items():
            self.pipe.send(f"setoption name {name} value {value}")
        self.pipe.send("isready")
        lines = list(self.lines_until("readyok"))
        # An engine that can't read a network goes on with another one.
        network = wanted.get("NN_File")
        if network and f"info string loaded {network}" not in lines:
            told = next((line for line in lines if network[:100] in line), "the engine does not say that it loaded it")
            raise SetupError(f"{self.name}: network {network}: {told}")

    def lines_until(self, last):
        deadline = time.perf_counter() + START_SECONDS
        while True:
            line = self.pipe.read_line(deadline)
            if line == last:
                return
            yield line

    def new_game(self):
        if self.pipe is None:
            self.start()
        self.pipe.send("ucinewgame\nisready")
        for _ in self.lines_until("readyok"):
            pass

    def move(self, position, go, seconds):
        """(move, seconds used) of a search. NoAnswer after `seconds`; the engine is then still at it."""
        self.score = self.depth = None
        last_score = None
        start = time.perf_counter()
        self.pipe.send(f"{position}\n{go}")
        while True:
            line = self.pipe.read_line(start + seconds)
            if line.startswith("bestmove"):
                break
            if " score " in line and line.startswith("info "):
                last_score = line
        used = self.pipe.read_time - start
        if last_score:
            self.read_info(last_score.split())
        words = line.split()
        return words[1] if len(words) > 1 else "", used

    def read_info(self, words):
        """Score and depth of an information line; an unreadable one counts as none."""
        try:
            at = words.index("score")
            value = int(words[at + 2])
            if words[at + 1] == "mate":
                self.score = 32000 - value if value > 0 else -32000 - value
            else:
                self.score = max(-30000, min(30000, value))
            if "depth" in words:
                self.depth = int(words[words.index("depth") + 1])
        except (ValueError, IndexError):
            self.score = None

    def drop(self):
        """Ends the program after a fault; the next game starts it anew."""
        if self.pipe:
            self.pipe.kill()
            self.pipe = None

    def close(self):
        if self.pipe:
            self.pipe.close()
            self.pipe = None
