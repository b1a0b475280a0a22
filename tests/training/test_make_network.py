"""The way from one network to the next with small stand-ins for self-play and trainer; the match is a
real one between scripted engines. TARN_REFEREE names the referee."""

import contextlib
import io
import json
import os
import signal
import struct
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
TRAINING = os.path.join(HERE, "..", "..", "training")
REFEREE = os.environ.get("TARN_REFEREE", "")
HANG_GUARD = 120.0

sys.path.insert(0, TRAINING)

import make_network

# Appends five records at a time up to --positions, or only once and then waits; ends at SIGTERM with whole records.
SELFPLAY = '''#!{python}
import os, signal, sys, time
stop = []
signal.signal(signal.SIGTERM, lambda *_: stop.append(1))
words = dict(zip(sys.argv[1::2], sys.argv[2::2])) if "--hand" not in sys.argv else dict(zip(sys.argv[1:-1:2], sys.argv[2::2]))
print("arguments " + " ".join(sys.argv[1:]), flush=True)
with open(words["--out"], "ab") as file:
    while not stop and file.tell() < 40 * int(words["--positions"]):
        file.write(bytes(200))
        file.flush()
        print("self-play at work", flush=True)
        while {waits} and not stop:
            time.sleep(0.01)
'''

# Writes the network that the environment asks for: the text is the mode of the scripted engine.
TRAIN = '''#!{python}
import os, sys
print("arguments " + " ".join(sys.argv[1:]), flush=True)
with open(sys.argv[sys.argv.index("--out") + 1], "w") as file:
    file.write("{candidate}")
'''

# Writes a network with one weight, ten times the seed; ends with "stopped at" when `stop` is the seed.
TRAIN_SEED = '''#!{python}
import struct, sys
words = dict(zip(sys.argv[1::2], sys.argv[2::2]))
print("arguments " + " ".join(sys.argv[1:]), flush=True)
seed = int(words["--seed"])
with open(words["--out"], "wb") as file:
    file.write(struct.pack("<10hih", 770, 1500, 3000, 400, 2, 1, 2, 0, 0, 5, 1, 10 * seed))
if seed == {stop}:
    print("stopped at 7 visits; the same command goes on from there")
'''

ENGINE = '''#!{python}
import os, sys
os.execv("{python}", ["{python}", "{fake}", "{referee}", "{builtin}"])
'''


class MakeNetworkTest(unittest.TestCase):
    def setUp(self):
        self.temporary = tempfile.TemporaryDirectory()
        self.folder = os.path.join(self.temporary.name, "network")
        self.programs = os.path.join(self.temporary.name, "programs")
        os.makedirs(os.path.join(self.programs, "training"))
        os.symlink(REFEREE, os.path.join(self.programs, "training", "tarn-referee"))

    def tearDown(self):
        self.temporary.cleanup()

    def install(self, candidate, builtin, waits=False):
        """The programs; the networks are modes of the scripted engine."""
        for name, text in (("training/tarn-selfplay", SELFPLAY), ("training/tarn-train", TRAIN), ("tarn", ENGINE)):
            path = os.path.join(self.programs, name)
            with open(path, "w", encoding="utf-8") as file:
                file.write(text.format(python=sys.executable, waits=waits, candidate=candidate, builtin=builtin,
                                       fake=os.path.join(HERE, "fake_engine.py"), referee=REFEREE))
            os.chmod(path, 0o755)

    def command(self, *more):
        return [sys.executable, os.path.join(TRAINING, "make_network.py"), "--folder", self.folder, "--programs",
                self.programs, "--positions", "100", "--runs", "1", "--share", "1", "--games", "8", "--least-games", "8",
                "--tc", "20", "--threads", "2", *more]

    def run_all(self, *more):
        run = subprocess.run(self.command(*more), capture_output=True, text=True, timeout=HANG_GUARD)
        return run.returncode, run.stdout + run.stderr

    def test_a_won_match(self):
        self.install("winning", "resignable")
        code, output = self.run_all()
        self.assertEqual(code, 0, output)
        for text in ("== generate: 0 of 100 records, about ", "== train: 1 of 1 runs, about 0 s", "== match: 8 games, at most about ",
                     "== won. The new network is ", "candidate against builtin, 8 of 8 games"):
            self.assertIn(text, output)
        # Once more: nothing is done twice.
        code, output = self.run_all()
        self.assertEqual(code, 0, output)
        self.assertIn("records, nothing to do", output)
        self.assertIn("train: done before", output)
        self.assertIn("8 games were played before", output)

    def test_a_match_that_is_not_won(self):
        for candidate, builtin in (("resignable", "winning"), ("level", "level")):
            self.install(candidate, builtin)
            code, output = self.run_all("--replace")
            self.assertEqual(code, 0, output)
            self.assertIn("the match was not won: the network of the program stays", output)
            for name in os.listdir(self.folder):
                os.remove(os.path.join(self.folder, name))

    def test_a_short_match_decides_nothing(self):
        self.install("winning", "resignable")
        code, output = self.run_all("--replace", "--least-games", "100")
        self.assertEqual(code, 0, output)
        self.assertIn("fewer than 100 games decide nothing: the network of the program stays", output)

    def test_faults_decide_nothing(self):
        self.install("legal", "illegal")
        code, output = self.run_all("--replace")
        self.assertEqual(code, 0, output)
        self.assertIn("the match is not valid (engine B: ", output)

    def test_stop_and_go_on(self):
        self.install("winning", "resignable", waits=True)
        run = subprocess.Popen(self.command(), stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        output = ""
        while "at work" not in output:
            line = run.stdout.readline()
            self.assertTrue(line, output)
            output += line
        run.send_signal(signal.SIGINT)
        output += run.communicate(timeout=HANG_GUARD)[0]
        self.assertEqual(run.returncode, make_network.EXIT_STOPPED, output)
        self.assertIn("stopped; the same command goes on from here", output)
        before = os.path.getsize(os.path.join(self.folder, "selfplay.bin"))
        self.assertEqual(before, 200)
        self.install("winning", "resignable")
        code, output = self.run_all()
        self.assertEqual(code, 0, output)
        self.assertIn(f"== generate: {before // 40} of 100 records", output)
        self.assertIn("== won. ", output)

    def test_from_the_hand_crafted_evaluation(self):
        # The scripted engine has no such option, so the match can't start; the steps before it show.
        self.install("winning", "resignable")
        code, output = self.run_all("--from", "hand")
        self.assertEqual(code, 1, output)
        self.assertRegex(output, r"arguments --out .* --hand\n")
        self.assertRegex(output, r"arguments .* --network random ")
        self.assertIn("hand-crafted: the engine has no option Use_NN_eval", output)
        # The folder belongs to that run.
        code, output = self.run_all()
        self.assertEqual(code, 1, output)
        self.assertIn("was begun with FROM=hand", output)

    def test_broken_steps_are_told(self):
        self.install("winning", "resignable")
        os.remove(os.path.join(self.programs, "training", "tarn-train"))
        code, output = self.run_all()
        self.assertEqual(code, 1, output)
        self.assertIn("can't start ", output)
        with open(os.path.join(self.programs, "training", "tarn-train"), "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\necho no data\nexit 3\n")
        os.chmod(os.path.join(self.programs, "training", "tarn-train"), 0o755)
        code, output = self.run_all()
        self.assertEqual(code, 1, output)
        self.assertIn("tarn-train failed (exit code 3)", output)
        code, output = self.run_all("--from", "/nowhere")
        self.assertEqual(code, 1, output)
        code, output = self.run_all("--share", "1.5")
        self.assertEqual((code, output), (2, "make_network.py: SHARE is above 0 and at most 1\n"))

    def test_files_of_others_stay(self):
        os.makedirs(self.folder)
        names = ("run1.bin", "runner.txt", "candidate.bin.mine")
        for name in names:
            with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
                file.write("mine")
        # A network to start from would be overwritten by the first run.
        code, output = self.run_all("--from", os.path.join(self.folder, "run1.bin"))
        self.assertEqual(code, 1, output)
        self.assertIn("is in the working folder", output)
        self.train("hand")
        for name in names[1:]:
            with open(os.path.join(self.folder, name), encoding="utf-8") as file:
                self.assertEqual(file.read(), "mine")

    def train(self, source, *more, stop=0):
        """The training step alone, on 100 records, with networks of one weight. Returns log and candidate."""
        path = os.path.join(self.programs, "training", "tarn-train")
        with open(path, "w", encoding="utf-8") as file:
            file.write(TRAIN_SEED.format(python=sys.executable, stop=stop))
        os.chmod(path, 0o755)
        options = make_network.make_parser().parse_args(["--folder", self.folder, "--programs", self.programs, "--threads",
                                                         "2", "--from", source, *more])
        self.assertEqual(make_network.fill_training_options(options), "")
        run = make_network.open_run(options)
        with open(run.path("selfplay.bin"), "wb") as file:
            file.write(bytes(4000))
        try:
            with contextlib.redirect_stdout(io.StringIO()):
                make_network.train(run)
        finally:
            run.log.close()
        with open(run.path("log.txt"), encoding="utf-8") as log, open(run.path("candidate.bin"), "rb") as candidate:
            return log.read(), struct.unpack("<10hih", candidate.read())[-1]

    def test_runs_are_mixed(self):
        old = os.path.join(self.temporary.name, "old.bin")
        with open(old, "wb") as file:
            file.write(struct.pack("<10hih", 770, 1500, 3000, 400, 2, 1, 2, 0, 0, 5, 1, 50))
        # Weights 10, 20 and 30, and a fifth of the way back to 50.
        log, weight = self.train(old)
        self.assertEqual(weight, 26)
        self.assertIn("train: 3 of 3 runs", log)
        for number in (1, 2, 3):
            self.assertRegex(log, rf"arguments --positions 600 --out \S+/run{number}.bin .*--seed {number} --network {old} "
                                  r"--lr 2e-4 --lr-end 2e-5 --warm-up 500000 --lambda 0.95 ")
        self.assertIn("train: done before", self.train(old)[0])
        # Other parameters begin anew. A stop leaves the runs that were complete.
        more = ("--runs", "2", "--share", "0.5", "--passes", "2", "--minutes", "3", "--seed", "5")
        with self.assertRaises(make_network.Stopped):
            self.train(old, *more, stop=6)
        log, weight = self.train(old, *more)
        self.assertEqual(weight, 52)
        self.assertIn("train: 1 of 2 runs", log)
        self.assertEqual(log.count("arguments --positions 200 --out"), 3)
        self.assertIn("--seed 6 --network " + old + " --minutes 3 ", log)

    def test_training_from_nothing_is_one_run(self):
        log, weight = self.train("hand")
        self.assertEqual(weight, 10)
        self.assertRegex(log, r"arguments --positions 2400 .* --network random \S+/selfplay.bin --no-result ")
        for more, text in ((["--from", "hand", "--runs", "2"], "need a network to start from"),
                           (["--share", "1.5"], "SHARE is above 0"), (["--passes", "0"], "are positive")):
            options = make_network.make_parser().parse_args(more)
            self.assertIn(text, make_network.fill_training_options(options))

    def test_verdict(self):
        clean = {side: {"time": 0, "illegal move": 0, "crash": 0, "stall": 0} for side in "ab"}
        summary = {"complete": True, "games": 400, "wins": 150, "losses": 100, "elo": [30.0, 5.0, 56.0], "faults": clean}
        self.assertTrue(make_network.is_won(summary, 100))
        self.assertFalse(make_network.is_won({**summary, "elo": [20.0, -1.0, 41.0]}, 100))
        self.assertFalse(make_network.is_won({**summary, "complete": False}, 100))
        self.assertFalse(make_network.is_won({**summary, "elo": [None, None, None], "wins": 0, "losses": 400}, 100))
        self.assertFalse(make_network.is_won({**summary, "elo": None}, 100))
        self.assertFalse(make_network.is_won({**summary, "elo": [30.0, None, None]}, 100))
        self.assertTrue(make_network.is_won({**summary, "elo": [None, None, None], "wins": 400, "losses": 0}, 100))
        self.assertFalse(make_network.is_won({**summary, "games": 98}, 100))
        late = {"a": {**clean["a"], "time": 5}, "b": clean["b"]}
        self.assertFalse(make_network.is_won({**summary, "faults": late}, 100))
        late["a"]["time"] = 4
        self.assertTrue(make_network.is_won({**summary, "faults": late}, 100))

    def test_only_a_won_match_replaces_the_network(self):
        root = os.path.join(self.temporary.name, "root")
        os.makedirs(os.path.join(root, "net"))
        with open(os.path.join(root, "CMakeLists.txt"), "w", encoding="utf-8") as file:
            file.write("set(TARN_NETWORK ${CMAKE_SOURCE_DIR}/net/old.bin)\n")
        target = os.path.join(root, "net", "old.bin")
        clean = {side: {"time": 0} for side in "ab"}
        lost = {"complete": True, "games": 8, "wins": 1, "losses": 7, "elo": [-200.0, -300.0, -100.0], "faults": clean}
        won = {**lost, "elo": [200.0, 100.0, 300.0]}
        original = make_network.ROOT
        make_network.ROOT = root
        try:
            for replace, source, summary, expected in ((True, "builtin", lost, "old"), (False, "builtin", won, "old"),
                                                       (True, "hand", won, "old"), (True, "builtin", won, "new")):
                with open(target, "w", encoding="utf-8") as file:
                    file.write("old")
                options = make_network.make_parser().parse_args(["--folder", self.folder, "--least-games", "8"])
                run = make_network.open_run(options)
                run.state["from"] = source
                options.replace = replace
                with open(run.path("candidate.bin"), "w", encoding="utf-8") as file:
                    file.write("new")
                make_network.conclude(run, summary)
                run.log.close()
                with open(target, encoding="utf-8") as file:
                    self.assertEqual(file.read(), expected)
            # Once in the program it is not put there again.
            with open(os.path.join(self.folder, "state.json"), encoding="utf-8") as file:
                self.assertTrue(json.load(file)["replaced"])
        finally:
            make_network.ROOT = original

    def test_the_built_in_network_is_found(self):
        self.assertTrue(os.path.isfile(make_network.embedded_network()))


if __name__ == "__main__":
    unittest.main()
