"""A UCI engine for the tests of the match runner: fake_engine.py REFEREE MODE [MOVES].

It plays the first legal move in alphabetical order. After MOVES moves of a game (default 3) it does
what its mode says: legal (nothing special), illegal, none, crash, slow (its clock runs out), hang (no
answer at all), resignable (says that it is lost), level (says that the game is level), deaf (crashes
between games), freeze:FILE (stops the match itself until the clock has run out; only once, as it makes
FILE), held:FILE (from its second game on, does not answer while there is FILE). A network file (option
NN_File) replaces the mode by its text."""

import os
import select
import signal
import subprocess
import sys
import time


def wait_until_gone(path):
    """Whether the file went before the next command came."""
    while os.path.exists(path):
        if select.select([sys.stdin], [], [], 0.01)[0]:
            return False
    return True


def main():
    referee = subprocess.Popen([sys.argv[1]], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)

    def ask(request):
        referee.stdin.write(request + "\n")
        referee.stdin.flush()
        return referee.stdout.readline().strip()

    mode = sys.argv[2]
    moves_before = int(sys.argv[3]) if len(sys.argv) > 3 else 3
    moves = games = 0
    chess960 = False
    for line in sys.stdin:
        words = line.split()
        if words[:1] == ["uci"]:
            print("id name Fake\noption name Hash type spin default 1 min 1 max 64")
            print("option name NN_File type string default embedded")
            print("option name UCI_Chess960 type check default false\nuciok", flush=True)
        elif words[:1] == ["setoption"]:
            chess960 |= words[2:] == ["UCI_Chess960", "value", "true"]
            if words[2] == "NN_File":
                with open(words[4], encoding="utf-8") as file:
                    mode = file.read()
                print(f"info string loaded {words[4]}")
        elif words[:1] == ["isready"]:
            print("readyok", flush=True)
        elif words[:1] == ["ucinewgame"]:
            moves = 0
            games += 1
            if mode == "deaf" and games == 2:
                sys.exit(4)
        elif words[:1] == ["position"]:
            at = words.index("moves") if "moves" in words else len(words)
            start = "startpos" if words[1] == "startpos" else " ".join(words[2:at])
            ask(f"{'new960' if chess960 else 'new'} {start}")
            for move in words[at + 1 :]:
                ask(f"move {move}")
        elif words[:1] == ["go"]:
            moves += 1
            legal = sorted(ask("moves").split())
            if moves > moves_before:
                if mode == "illegal":
                    legal = ["e1e5"]
                elif mode == "none":
                    legal = ["null"]
                elif mode == "crash":
                    os.kill(os.getpid(), 9)
                elif mode == "slow":
                    time.sleep(float(words[words.index("wtime") + 1]) / 1000.0 + 0.2)
                elif mode.startswith("freeze:") and not os.path.exists(mode[7:]):
                    open(mode[7:], "w", encoding="utf-8").close()
                    os.kill(os.getppid(), signal.SIGSTOP)
                    time.sleep(float(words[words.index("wtime") + 1]) / 1000.0 + 0.3)
                    os.kill(os.getppid(), signal.SIGCONT)
                elif mode.startswith("held:") and games > 1 and not wait_until_gone(mode[5:]):
                    continue
                elif mode == "hang":
                    continue
            scores = {"resignable": -900, "level": 0, "winning": 900}
            if mode in scores:
                print(f"info depth 5 score cp {scores[mode]} pv {legal[0]}")
            print(f"bestmove {legal[0]}", flush=True)
        elif words[:1] == ["quit"]:
            break


main()
