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
RECORDS_A_SECOND = 300.0
VISITS_A_SECOND = 100000.0
GAME_MOVES = 55  # moves of a side in an average game

# From a network that is good already: low rates, and little weight on the results of games. Without one the trainer's
# own values serve.
FINE_TUNING = ["--lr", "2e-4", "--lr-end", "2e-5", "--warm-up", "500000", "--lambda", "0.95"]
# Passes over the records, training runs, and share of their mean in the candidate.
FROM_NETWORK = {"passes": 6.0, "runs": 3, "share": 0.8}
FROM_RANDOM = {"passes": 24.0, "runs": 1, "share": 1.0}


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
        self.child.stdout.close()
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
        if os.path.realpath(os.path.dirname(source)) == os.path.realpath(run.folder):
            raise Failure(f"FROM={source} is in the working folder, whose networks are overwritten; give another FOLDER")
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
    return {"positions": options.positions, "minutes": options.minutes, "passes": options.passes, "runs": options.runs,
            "share": options.share, "seed": options.seed}


def forget_training(run):
    """Removes what was trained with other parameters, and the match with it."""
    for name in os.listdir(run.folder):
        if re.fullmatch(r"(run\d+|candidate)\.bin(\.checkpoint|\.csv|\.svg)?|match\.(state|json)", name):
            os.remove(run.path(name))
    run.state.pop("trained", None)
    run.state["runs_done"] = 0
    run.state["training"] = training_parameters(run.options)
    run.save()


def run_seconds(run):
    """About how long one training run takes."""
    options = run.options
    visits = options.passes * count_records(run)
    seconds = visits / run.state.get("visits_a_second", VISITS_A_SECOND * options.threads)
    return min(seconds, 60.0 * options.minutes) if options.minutes else seconds


def training_command(run, number):
    """The trainer's command for run `number`, from 0: the runs differ in the order of the records alone."""
    options = run.options
    source = run.state["from"]
    command = [run.program("training/tarn-train"), "--positions", str(round(options.passes * count_records(run))),
               "--out", run.path(f"run{number + 1}.bin"), "--threads", str(options.threads),
               "--seed", str(options.seed + number),
               "--network", {"builtin": "embedded", "hand": "random"}.get(source, source)]
    if options.minutes:
        command += ["--minutes", f"{options.minutes:g}"]
    if source != "hand":
        command += FINE_TUNING
    # Positions from inside searches have a score, but no game that ended.
    return command + [run.path("selfplay.bin"), "--no-result", run.path("selfplay.inner.bin")]


def train_once(run, number):
    network = run.path(f"run{number + 1}.bin")
    resumed = os.path.exists(network + ".checkpoint")
    start = time.monotonic()
    last = run.call(training_command(run, number))
    if any(line.startswith("stopped at ") for line in last):
        raise Stopped()
    if not os.path.exists(network):
        raise Failure("the trainer wrote no network")
    seconds = time.monotonic() - start
    if not resumed and not run.options.minutes and seconds > 20.0:
        run.state["visits_a_second"] = run.options.passes * count_records(run) / seconds
    run.state["runs_done"] = number + 1
    run.save()


def mix_networks(run):
    """The candidate: the mean of the runs, and part of the way back to the network that they started from."""
    options = run.options
    trained = [run.path(f"run{number + 1}.bin") for number in range(options.runs)]
    if options.runs == 1 and options.share == 1.0:
        shutil.copyfile(trained[0], run.path("candidate.bin"))
        return
    old = embedded_network() if run.state["from"] == "builtin" else run.state["from"]
    run.call([sys.executable, os.path.join(FOLDER, "blend_network.py"), *trained, old, run.path("candidate.bin"),
              "--share", f"{options.share:g}"])


def train(run):
    """Some training runs from the network that played, and their mean."""
    options = run.options
    if run.state.get("trained") == training_parameters(options) and os.path.exists(run.path("candidate.bin")):
        run.say("train: done before")
        return
    if run.state.get("training") != training_parameters(options):
        forget_training(run)
    left = options.runs - run.state["runs_done"]
    run.say(f"train: {left} of {options.runs} runs, about {time_text(left * run_seconds(run))}")
    for number in range(run.state["runs_done"], options.runs):
        train_once(run, number)
    mix_networks(run)
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
    parser.add_argument("--passes", type=float, help="passes over the records in each training run (6; from hand 24)")
    parser.add_argument("--minutes", type=float, help="minutes of a training run at most")
    parser.add_argument("--runs", type=int, help="training runs, of which the mean is taken (3; from hand 1)")
    parser.add_argument("--share", type=float,
                        help="of the trained networks in the candidate; the rest is the old network's (0.8; from hand 1)")
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


def fill_training_options(options):
    """Sets what the command line left open; the text of what it has wrong, or ""."""
    from_hand = options.source == "hand"
    for name, value in (FROM_RANDOM if from_hand else FROM_NETWORK).items():
        if getattr(options, name) is None:
            setattr(options, name, value)
    if options.passes <= 0.0 or options.runs < 1 or (options.minutes is not None and options.minutes <= 0.0):
        return "PASSES, MINUTES and RUNS are positive"
    if not 0.0 < options.share <= 1.0:
        return "SHARE is above 0 and at most 1"
    if from_hand and (options.runs, options.share) != (1, 1.0):
        return "RUNS and SHARE need a network to start from"
    return ""


def main(arguments=None):
    options = make_parser().parse_args(arguments)
    wrong = fill_training_options(options)
    if options.positions < 1 or options.games < 2 or options.threads < 1:
        wrong = "POSITIONS, GAMES and THREADS are positive, GAMES 2 or more"
    if wrong:
        print(f"make_network.py: {wrong}", file=sys.stderr)
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
