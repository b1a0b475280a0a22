#!/usr/bin/env python3
"""From one network to the next: self-play, training, and a match of the new network against the old.

Every step remembers how far it got in the working folder, so the same command goes on after any stop.
The program's own network is replaced only on request, and only when the match was won. `make network`
starts this program; see docs/training-match.md."""

import argparse
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time

FOLDER = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(FOLDER)
RECORD_BYTES = 40
EXIT_STOPPED = 130

# Speeds of one core, for the first estimate; measured ones take their place.
RECORDS_A_SECOND = 90.0
GAME_MOVES = 55  # moves of a side in an average game


class Failure(Exception):
    """A step that can't go on; the text says why."""


class Stopped(Exception):
    """The user ended the run."""


def time_text(seconds):
    seconds = int(seconds)
    if seconds < 90:
        return f"{seconds} s"
    return f"{seconds // 60} min" if seconds < 5400 else f"{seconds / 3600:.1f} h"


class Run:
    """The working folder and what is known about the steps."""

    def __init__(self, options):
        self.options = options
        self.folder = os.path.abspath(options.folder)
        self.child = None
        self.stopped = False
        self.log = None
        self.state = {}

    def path(self, name):
        return os.path.join(self.folder, name)

    def program(self, name):
        return os.path.join(os.path.abspath(self.options.programs), *name.split("/"))

    def say(self, text):
        print(f"== {text}", flush=True)
        self.log.write(f"== {time.strftime('%Y-%m-%d %H:%M:%S')} {text}\n")
        self.log.flush()

    def save(self):
        """Writes the state whole, so that a crash leaves the old or the new one."""
        with open(self.path("state.json.new"), "w", encoding="utf-8") as file:
            json.dump(self.state, file, indent=1, sort_keys=True)
            file.write("\n")
        os.replace(self.path("state.json.new"), self.path("state.json"))

    def on_signal(self, _signum, _frame):
        """Hands the stop on to the program at work, once: it is in a session of its own."""
        if not self.stopped and self.child:
            self.child.send_signal(signal.SIGTERM)
        self.stopped = True

    def call(self, command):
        """Runs a program to its end, its output on the screen and in the log. Returns the output's last
        lines. Failure when it fails, Stopped when the user ended it."""
        if self.stopped:
            raise Stopped()
        self.log.write(f"$ {' '.join(command)}\n")
        self.log.flush()
        try:
            self.child = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                          errors="replace", cwd=self.folder, start_new_session=True)
        except OSError as error:
            raise Failure(f"can't start {command[0]}: {error.strerror}") from error
        if self.stopped:  # in the moment of the start
            self.child.send_signal(signal.SIGTERM)
        last = []
        for line in self.child.stdout:
            print(line, end="", flush=True)
            self.log.write(line)
            self.log.flush()
            last = last[-49:] + [line]
        code = self.child.wait()
        self.child = None
        if self.stopped:
            raise Stopped()
        if code != 0:
            raise Failure(f"{os.path.basename(command[0])} failed (exit code {code}); see {self.path('log.txt')}")
        return last


def open_run(options):
    """The run of the working folder, begun or gone on with; Failure when it was begun otherwise."""
    run = Run(options)
    os.makedirs(run.folder, exist_ok=True)
    run.log = open(run.path("log.txt"), "a", encoding="utf-8")
    source = options.source
    if source not in ("builtin", "hand"):
        if not os.path.isfile(source):
            raise Failure(f"FROM={source}: neither builtin, hand nor a network file")
        source = os.path.abspath(source)
    if os.path.exists(run.path("state.json")):
        with open(run.path("state.json"), encoding="utf-8") as file:
            run.state = json.load(file)
        if run.state["from"] != source:
            raise Failure(f"{run.folder} was begun with FROM={run.state['from']}; remove it, or give another FOLDER")
    else:
        run.state = {"from": source}
        run.save()
    return run


# ---- generate ----

def count_records(run):
    total = 0
    for name in ("selfplay.bin", "selfplay.inner.bin"):
        if os.path.exists(run.path(name)):
            total += os.path.getsize(run.path(name)) // RECORD_BYTES
    return total


def generate(run):
    """Self-play until there are enough records; more than enough from an earlier run is fine."""
    options = run.options
    there = count_records(run)
    if there >= options.positions:
        run.say(f"generate: {there} records, nothing to do")
        return
    rate = run.state.get("records_a_second", RECORDS_A_SECOND * options.threads)
    run.say(f"generate: {there} of {options.positions} records, about {time_text((options.positions - there) / rate)}")
    command = [run.program("training/tarn-selfplay"), "--out", run.path("selfplay.bin"), "--positions",
               str(options.positions), "--jobs", str(options.threads), "--seed", str(options.seed), "--openings",
               os.path.join(FOLDER, "openings.epd"), "--report", "60"]
    if run.state["from"] == "hand":
        command.append("--hand")
    elif run.state["from"] != "builtin":
        command += ["--network", run.state["from"]]
    start = time.monotonic()
    try:
        run.call(command)
    finally:
        new, seconds = count_records(run) - there, time.monotonic() - start
        if new > 0 and seconds > 20.0:
            run.state["records_a_second"] = new / seconds
            run.save()
    if count_records(run) < options.positions:
        raise Failure("self-play ended before there were enough records")


# ---- train ----

def training_parameters(options):
    return {"positions": options.positions, "minutes": options.minutes, "seed": options.seed}


def train(run):
    """Training for the wanted minutes, from the network that played."""
    options = run.options
    if run.state.get("trained") == training_parameters(options) and os.path.exists(run.path("candidate.bin")):
        run.say("train: done before")
        return
    if "trained" in run.state:  # with other parameters: begin anew, and the match with it
        del run.state["trained"]
        for name in ("candidate.bin", "candidate.bin.checkpoint", "match.state", "match.json"):
            if os.path.exists(run.path(name)):
                os.remove(run.path(name))
        run.save()
    run.say(f"train: about {time_text(60.0 * options.minutes)} for the whole schedule")
    source = run.state["from"]
    network = {"builtin": "embedded", "hand": "random"}.get(source, source)
    # Positions from inside searches have a score, but no game that ended.
    last = run.call([run.program("training/tarn-train"), "--minutes", f"{options.minutes:g}", "--network", network, "--out",
                     run.path("candidate.bin"), "--threads", str(options.threads), "--seed", str(options.seed),
                     run.path("selfplay.bin"), "--no-result", run.path("selfplay.inner.bin")])
    if any(line.startswith("stopped at ") for line in last):
        raise Stopped()
    if not os.path.exists(run.path("candidate.bin")):
        raise Failure("the trainer wrote no network")
    run.state["trained"] = training_parameters(options)
    run.save()


# ---- match ----

def match_seconds(options):
    """Length of the match, from an average game that uses most of its time."""
    if options.nodes:
        return options.games / options.threads * 2 * GAME_MOVES * options.nodes / 700000.0
    found = re.fullmatch(r"(?:\d+/)?([\d.]+)(?:\+([\d.]+))?", options.tc)
    if not found:
        return 0.0
    game = 2.0 * (0.8 * float(found.group(1)) + GAME_MOVES * float(found.group(2) or 0.0))
    return game * options.games / options.threads


def play_match(run):
    """The new network against the built-in one, or against the hand-crafted evaluation when the data came
    from that. Returns the summary."""
    options = run.options
    run.say(f"match: {options.games} games, at most about {time_text(match_seconds(options))}")
    command = [sys.executable, os.path.join(FOLDER, "match.py"), "--engine", run.program("tarn"), "--referee",
               run.program("training/tarn-referee"), "--network-a", run.path("candidate.bin"), "--name-a", "candidate",
               "--games", str(options.games), "--concurrency", str(options.threads), "--pgn", run.path("match.pgn"),
               "--state", run.path("match.state"), "--summary", run.path("match.json")]
    command += ["--nodes", str(options.nodes)] if options.nodes else ["--tc", options.tc]
    if run.state["from"] == "hand":
        command += ["--name-b", "hand-crafted", "--option-b", "Use_NN_eval=false"]
    else:
        command += ["--name-b", "builtin"]
    run.call(command)
    with open(run.path("match.json"), encoding="utf-8") as file:
        return json.load(file)


def fault_of_match(summary):
    """Why the match proves nothing about strength, or "": an engine misbehaved, or more than one game in
    a hundred was lost on time."""
    for side in "ab":
        faults = summary["faults"][side]
        broken = {name: count for name, count in faults.items() if count and name != "time"}
        if broken or 100 * faults["time"] > summary["games"]:
            return f"engine {side.upper()}: {faults}"
    return ""


def is_won(summary, least_games):
    """A complete match of `least_games` or more, without faults, whose 95 % interval is above 0: the
    interval supposes a normal distribution, which a few games don't have. It has no number for a lower bound
    when that is a score of 0, or when every game was won."""
    if fault_of_match(summary) or not summary["complete"] or summary["games"] < least_games or not summary["elo"]:
        return False
    low = summary["elo"][1]
    return low > 0.0 if low is not None else summary["wins"] == summary["games"]


def embedded_network():
    """The file that the build puts into the program."""
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as file:
        found = re.search(r"set\(TARN_NETWORK \$\{CMAKE_SOURCE_DIR\}/(\S+)\)", file.read())
    if not found:
        raise Failure("CMakeLists.txt does not say where the network is")
    return os.path.join(ROOT, found.group(1))


def replace_network(run):
    target = embedded_network()
    shutil.copyfile(run.path("candidate.bin"), target + ".new")
    os.replace(target + ".new", target)
    run.state["replaced"] = True
    run.save()
    run.say(f"{os.path.relpath(target, ROOT)} replaced; build again, and expect new bench signatures")


def conclude(run, summary):
    """What the match means for the network of the program."""
    elo = ["unbounded" if value is None else f"{value:+.1f}" for value in summary["elo"] or [None] * 3]
    run.say(f"match: Elo {elo[0]}, 95 % from {elo[1]} to {elo[2]}, {summary['games']} games")
    fault = fault_of_match(summary)
    if fault:
        run.say(f"the match is not valid ({fault}): the network of the program stays")
    elif run.state.get("replaced"):
        run.say("the program has this network already; give another FOLDER for the next one")
    elif summary["games"] < run.options.least_games:
        run.say(f"fewer than {run.options.least_games} games decide nothing: the network of the program stays")
    elif not is_won(summary, run.options.least_games):
        run.say("the match was not won: the network of the program stays")
    elif run.state["from"] == "hand":
        run.say("won against the hand-crafted evaluation. The network of the program stays until one wins against it: "
                f"make network FROM={run.path('candidate.bin')} FOLDER=...")
    elif run.options.replace:
        replace_network(run)
    else:
        run.say(f"won. The new network is {run.path('candidate.bin')}; make network REPLACE=yes puts it into the program")


def make_parser():
    parser = argparse.ArgumentParser(prog="make_network.py", description="From one network to the next.")
    parser.add_argument("--from", dest="source", default="builtin", help="builtin, hand or a network file")
    parser.add_argument("--positions", type=int, default=10000000, help="training records to generate")
    parser.add_argument("--minutes", type=float, default=60.0, help="minutes of training")
    parser.add_argument("--games", type=int, default=400, help="games of the match")
    parser.add_argument("--least-games", type=int, default=100, help="a shorter match is not won (default 100)")
    parser.add_argument("--tc", default="3+0.03", help="clocks of the match")
    parser.add_argument("--nodes", type=int, help="nodes a move instead of clocks")
    parser.add_argument("--threads", type=int, default=os.cpu_count() or 1, help="cores to use")
    parser.add_argument("--seed", type=int, default=1, help="seed of self-play and training")
    parser.add_argument("--folder", default=os.path.join(ROOT, "build", "network"), help="working folder")
    parser.add_argument("--programs", default=os.path.join(ROOT, "build", "release"), help="where the programs are")
    parser.add_argument("--replace", action="store_true", help="put the new network into the program if it wins")
    return parser


def main(arguments=None):
    options = make_parser().parse_args(arguments)
    if options.positions < 1 or options.minutes <= 0.0 or options.games < 2 or options.threads < 1:
        print("make_network.py: POSITIONS, MINUTES, GAMES and THREADS are positive, GAMES 2 or more", file=sys.stderr)
        return 2
    try:
        run = open_run(options)
        signal.signal(signal.SIGINT, run.on_signal)
        signal.signal(signal.SIGTERM, run.on_signal)
        generate(run)
        train(run)
        conclude(run, play_match(run))
        return 0
    except Stopped:
        run.say("stopped; the same command goes on from here")
        return EXIT_STOPPED
    except (Failure, OSError, ValueError, KeyError) as error:
        print(f"make_network.py: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
