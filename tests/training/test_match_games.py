"""Whole matches with scripted engines, as a user starts them. TARN_REFEREE names the referee."""

import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
TRAINING = os.path.join(HERE, "..", "..", "training")
REFEREE = os.environ.get("TARN_REFEREE", "")
HANG_GUARD = 120.0

sys.path.insert(0, TRAINING)

import match
from match_engine import Referee, StopSignal
from match_game import Adjudicator, Clock, Limits, Rules
from match_stalls import SLEEP_SECONDS, Core


def fake(mode, moves=3):
    return f"{sys.executable} {os.path.join(HERE, 'fake_engine.py')} {REFEREE} {mode} {moves}"


class MatchTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.openings = self.path("openings.epd")
        with open(self.openings, "w", encoding="utf-8") as file:
            file.write("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -\n"
                       "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq - 0 2\n")

    def tearDown(self):
        self.folder.cleanup()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def command(self, mode_a, mode_b, *more):
        return [sys.executable, os.path.join(TRAINING, "match.py"), "--referee", REFEREE, "--engine-a", fake(mode_a),
                "--engine-b", fake(mode_b), "--name-a", "alpha", "--name-b", "beta", "--openings", self.openings,
                "--concurrency", "2", "--pgn", self.path("games.pgn"), "--summary", self.path("summary.json"), *more]

    def play(self, mode_a, mode_b, *more):
        """(exit code, output, summary, PGN) of a match."""
        run = subprocess.run(self.command(mode_a, mode_b, *more), capture_output=True, text=True, timeout=HANG_GUARD)
        summary = json.loads(self.read("summary.json") or "{}")
        return run.returncode, run.stdout + run.stderr, summary, self.read("games.pgn")

    def read(self, name):
        """The text of a file of the match, empty when there is none."""
        if not os.path.exists(self.path(name)):
            return ""
        with open(self.path(name), encoding="utf-8") as file:
            return file.read()

    def assert_only_fault(self, summary, side, fault, count):
        wanted = {s: dict.fromkeys(match.FAULTS, 0) for s in "ab"}
        wanted[side][fault] = count
        self.assertEqual(summary["faults"], wanted)

    def test_legal_engines_draw_every_game(self):
        # Both play the first legal move by name: the same game with either colour.
        code, output, summary, pgn = self.play("legal", "legal", "--games", "4", "--tc", "20+0.5", "--max-moves", "30")
        self.assertEqual(code, 0, output)
        self.assertEqual(summary["games"], 4)
        self.assert_only_fault(summary, "a", "time", 0)
        self.assertEqual(summary["pairs"], [0, 0, 2, 0, 0])
        self.assertEqual(pgn.count("[Event "), 4)
        self.assertEqual(sorted(re.findall(r'\[White "(\w+)"\]', pgn)), ["alpha", "alpha", "beta", "beta"])
        self.assertEqual(len(re.findall(r'\[TimeControl "20\+0.5"\]', pgn)), 4)
        self.assertIn("faults of A (alpha): 0 time, 0 illegal move, 0 crash, 0 stall", output)

    def test_games_in_pgn_can_be_played_again(self):
        _, output, _, pgn = self.play("legal", "legal", "--games", "2", "--tc", "20", "--max-moves", "40")
        referee = Referee([REFEREE], StopSignal())
        games = match.games_of_pgn(pgn)
        self.assertEqual(len(games), 2, output)
        for tags, sans in games:
            self.assertEqual(len(sans), int(tags["PlyCount"]))
            referee.new_game(tags.get("FEN", "startpos"))
            for san in sans:
                move = referee.move_of_san(san)
                self.assertIsNotNone(move, san)
                self.assertEqual(referee.play(move)[0], san)
        referee.close()

    def test_illegal_move_loses(self):
        code, output, summary, pgn = self.play("legal", "illegal", "--games", "4", "--nodes", "1")
        self.assertEqual(code, 0, output)
        self.assertEqual(summary["wins"], 4)
        self.assert_only_fault(summary, "b", "illegal move", 4)
        self.assertIn("B (beta) illegal move: e1e5 in ", output)
        self.assertEqual(pgn.count('[Termination "rules infraction"]'), 4)

    def test_no_move_loses(self):
        _, output, summary, _ = self.play("none", "legal", "--games", "2", "--nodes", "1")
        self.assertEqual(summary["losses"], 2)
        self.assert_only_fault(summary, "a", "illegal move", 2)
        self.assertIn("A (alpha) illegal move: null in ", output)

    def test_crash_loses_and_the_match_goes_on(self):
        code, output, summary, pgn = self.play("crash", "legal", "--games", "6", "--tc", "20")
        self.assertEqual(code, 0, output)
        self.assertEqual(summary["losses"], 6)
        self.assert_only_fault(summary, "a", "crash", 6)
        self.assertIn("A (alpha) crash: ended by signal 9", output)
        self.assertEqual(pgn.count('[Termination "abandoned"]'), 6)

    def test_crash_between_games_is_counted_and_costs_no_game(self):
        code, output, summary, _ = self.play("deaf", "legal", "--games", "4", "--tc", "20", "--max-moves", "10",
                                             "--concurrency", "1")
        self.assertEqual(code, 0, output)
        self.assertEqual(summary["draws"], 4)
        self.assertGreaterEqual(summary["faults"]["a"]["crash"], 1)
        self.assertIn("A (alpha) crash: between games: ended with exit code 4", output)

    def test_flag_falls(self):
        code, output, summary, pgn = self.play("legal", "slow", "--games", "2", "--tc", "1.5")
        self.assertEqual(code, 0, output)
        self.assertEqual(summary["wins"], 2)
        self.assert_only_fault(summary, "b", "time", 2)
        self.assertIn("B (beta) time: ", output)
        self.assertEqual(pgn.count('[Termination "time forfeit"]'), 2)

    def test_time_lost_while_the_machine_stood_still(self):
        # The whole match stops, as it does when a host takes the processors away.
        freeze = "freeze:" + self.path("frozen")
        more = ["--games", "2", "--tc", "1.5", "--max-moves", "10", "--concurrency", "1"]
        code, output, summary, pgn = self.play(freeze, "legal", *more, "--replay-stalls", "100")
        self.assertEqual(code, 0, output)
        self.assertEqual((summary["replayed"], summary["games"]), (1, 2), output)
        self.assert_only_fault(summary, "a", "time", 0)
        self.assertEqual(pgn.count("[Event "), 2)
        self.assertRegex(output, r"game 1: White: time: .*; the machine stood still for \d\.\d+ s of it: played again")
        self.assertIn("played again, as the machine stood still: 1", output)
        # Without the option it is a loss.
        os.remove(self.path("frozen"))
        _, output, summary, _ = self.play(freeze, "legal", *more)
        self.assert_only_fault(summary, "a", "time", 1)
        self.assertEqual(summary["replayed"], 0)

    def test_slow_engine_loses_though_stalls_are_watched(self):
        _, output, summary, _ = self.play("legal", "slow", "--games", "2", "--tc", "1.5", "--replay-stalls", "60000")
        self.assert_only_fault(summary, "b", "time", 2)
        self.assertEqual(summary["replayed"], 0, output)

    def test_hanging_engine_loses_on_time_or_stalls(self):
        _, _, summary, _ = self.play("hang", "legal", "--games", "2", "--tc", "1")
        self.assert_only_fault(summary, "a", "time", 2)
        os.remove(self.path("summary.json"))
        _, _, summary, _ = self.play("hang", "legal", "--games", "2", "--nodes", "5", "--stall", "1")
        self.assert_only_fault(summary, "a", "stall", 2)

    def test_adjudication(self):
        rules = ("--games", "2", "--tc", "30", "--resign", "600,2", "--draw", "10,2,4")
        _, output, summary, pgn = self.play("resignable", "winning", *rules)
        self.assertEqual(summary["losses"], 2, output)
        self.assertEqual(pgn.count('[Termination "adjudication"]'), 2)
        self.assertEqual(re.findall(r'\[PlyCount "(\d+)"\]', pgn), ["4", "4"])
        os.remove(self.path("games.pgn"))
        _, output, summary, pgn = self.play("level", "level", *rules)
        self.assertEqual(summary["draws"], 2, output)
        # From move 4 on, which Black answers: seven or more half moves, all of them level.
        self.assertEqual(re.findall(r'\[PlyCount "(\d+)"\]', pgn), ["7", "7"])

    def test_sequential_test_ends_the_match(self):
        code, output, summary, _ = self.play("legal", "illegal", "--games", "400", "--nodes", "1", "--sprt=0,40")
        self.assertEqual(code, 0, output)
        self.assertEqual(summary["sprt"], "H1")
        self.assertLess(summary["games"], 400)
        self.assertIn("SPRT: H1 accepted", output)

    def test_interrupt_and_resume(self):
        more = ("--games", "200", "--nodes", "1", "--state", self.path("state"), "--every", "1", "--max-moves", "60")
        # Two games at once: each pair of engines plays one to its end and stays in the next.
        held = "held:" + self.path("held")
        open(self.path("held"), "w", encoding="utf-8").close()
        run = subprocess.Popen(self.command(held, held, *more), stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               text=True)
        lines = []
        while not lines or not lines[-1].startswith("2/200"):
            lines.append(run.stdout.readline())
            self.assertTrue(lines[-1], lines)
        run.send_signal(signal.SIGINT)
        run.send_signal(signal.SIGTERM)  # at once, so the same request
        output = run.communicate(timeout=HANG_GUARD)[0]
        self.assertEqual(run.returncode, match.EXIT_STOPPED, output)
        self.assertIn("alpha against beta, 2 of 200 games", output)
        self.assertEqual(json.loads(self.read("summary.json"))["games"], 2)
        os.remove(self.path("held"))
        # A record that the end of the first run cut short.
        with open(self.path("state"), "a", encoding="utf-8") as file:
            file.write('{"game": 39, "poi')
        code, output, summary, pgn = self.play(held, held, *more)
        self.assertEqual(code, 0, output)
        self.assertIn("2 games were played before", output)
        self.assertEqual(summary["games"], 200)
        self.assertEqual(pgn.count("[Event "), 200)
        # Another match does not go on from this state.
        code, output, _, _ = self.play("legal", "illegal", *more)
        self.assertEqual(code, match.EXIT_USAGE)
        self.assertIn("belongs to another match", output)

    def test_engines_that_cannot_start(self):
        code, output, _, _ = self.play("legal", "legal", "--engine-b", self.path("missing"), "--games", "2")
        self.assertEqual(code, match.EXIT_ERROR)
        self.assertIn("can't start", output)
        code, output, _, _ = self.play("legal", "legal", "--option-a", "Colour=red", "--games", "2")
        self.assertEqual(code, match.EXIT_ERROR)
        self.assertIn("alpha: the engine has no option Colour", output)

    def test_refused_command_lines(self):
        for more, text in ((("--tc", "fast"), "no time control"), (("--sprt=5,0",), "ELO0 below ELO1"),
                           (("--option", "Hash"), "no NAME=VALUE"), (("--network-a", "/nowhere"), "is no file"),
                           (("--openings", "/nowhere"), "No such file"), (("--games", "0"), "1 or more")):
            code, output, _, _ = self.play("legal", "legal", *more)
            self.assertEqual(code, match.EXIT_USAGE, more)
            self.assertIn(text, output)

    def test_chess960(self):
        with open(self.openings, "w", encoding="utf-8") as file:
            file.write("bqnb1rkr/pp3ppp/3ppn2/2p5/5P2/P2P4/NPP1P1PP/BQ1BNRKR w HFhf - 2 9\n")
        code, output, summary, pgn = self.play("legal", "legal", "--games", "2", "--tc", "20", "--max-moves", "30",
                                               "--chess960")
        self.assertEqual(code, 0, output)
        self.assert_only_fault(summary, "a", "time", 0)
        self.assertIn('[Variant "Chess960"]', pgn)


class RefereeTest(unittest.TestCase):
    def setUp(self):
        self.referee = Referee([REFEREE], StopSignal())

    def tearDown(self):
        self.referee.close()

    def play(self, *moves):
        for move in moves:
            answer = self.referee.play(move)
            self.assertIsNotNone(answer, move)
        return answer

    def test_checkmate(self):
        self.referee.new_game("startpos")
        san, state, fen = self.play("f2f3", "e7e5", "g2g4", "d8h4")
        self.assertEqual((san, state), ("Qh4#", "mate"))
        self.assertEqual(fen, "rnb1kbnr/pppp1ppp/8/4p3/6Pq/5P2/PPPPP2P/RNBQKBNR w KQkq - 1 3")

    def test_stalemate(self):
        self.assertEqual(self.referee.new_game("7k/8/6K1/8/8/8/8/5Q2 w - - 0 1")[0], "ongoing")
        self.assertEqual(self.play("f1f7")[1], "stalemate")

    def test_threefold_repetition(self):
        self.referee.new_game("startpos")
        shuffle = ("g1f3", "g8f6", "f3g1", "f6g8")
        self.assertEqual(self.play(*shuffle)[1], "ongoing")
        self.assertEqual(self.play(*shuffle)[1], "threefold")

    def test_repetition_and_en_passant(self):
        # No black pawn can take after e2e4, so the square does not matter.
        self.referee.new_game("startpos")
        self.play("e2e4")
        shuffle = ("g8f6", "g1f3", "f6g8", "f3g1")
        self.assertEqual(self.play(*shuffle)[1], "ongoing")
        self.assertEqual(self.play(*shuffle)[1], "threefold")
        # Here one can: the first of the three positions is another one.
        self.referee.new_game("4k3/8/8/8/3p4/8/4P3/4K3 w - - 0 1")
        self.play("e2e4")
        shuffle = ("e8e7", "e1e2", "e7e8", "e2e1")
        self.assertEqual(self.play(*shuffle)[1], "ongoing")
        self.assertEqual(self.play(*shuffle)[1], "ongoing")
        self.assertEqual(self.play("e8e7")[1], "threefold")

    def test_fifty_moves(self):
        self.assertEqual(self.referee.new_game("4k3/8/8/8/8/8/8/R3K2R w KQ - 98 80")[0], "ongoing")
        # Castling is no pawn move and no capture.
        san, state, fen = self.play("e1g1")
        self.assertEqual((san, state, fen.split()[4]), ("O-O", "ongoing", "99"))
        self.assertEqual(self.play("e8e7")[1], "fifty")
        # Mate comes first.
        self.referee.new_game("7k/8/6K1/8/8/8/8/R7 w - - 99 90")
        self.assertEqual(self.play("a1a8")[1], "mate")

    def test_insufficient_material(self):
        for fen, wanted in (("8/8/4k3/8/8/3K4/8/8 w - - 0 1", "material"), ("8/8/4k3/8/8/3K1N2/8/8 w - - 0 1", "material"),
                            ("8/8/4k1b1/8/8/3K4/8/8 w - - 0 1", "material"), ("8/8/4k1b1/8/8/3K4/8/7B w - - 0 1", "material"),
                            ("8/8/4k2b/8/8/3K4/8/7B w - - 0 1", "ongoing"), ("8/8/4k1n1/8/8/3K1N2/8/8 w - - 0 1", "ongoing"),
                            ("8/8/4k3/8/8/3K2P1/8/8 w - - 0 1", "ongoing")):
            self.assertEqual(self.referee.new_game(fen)[0], wanted, fen)

    def test_notation(self):
        # Rooks on one rank, knights on one file, three queens: file, rank, and both.
        for fen, move, san in (("4k3/8/8/8/8/8/4K3/R6R w - - 0 1", "a1d1", "Rad1"),
                               ("4k3/8/8/1N6/8/8/4K3/1N6 w - - 0 1", "b1c3", "N1c3"),
                               ("8/k7/8/8/4Q2Q/8/8/K6Q w - - 0 1", "h4e1", "Qh4e1"),
                               ("r3k3/1P6/8/8/8/8/8/4K3 w - - 0 1", "b7a8n", "bxa8=N"),
                               ("4k3/8/8/3Pp3/8/8/8/4K3 w - e6 0 1", "d5e6", "dxe6"),
                               ("4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", "O-O-O"),
                               # The other knight is pinned, so the short form is enough.
                               ("4k3/8/8/8/1b6/2N5/8/4K1N1 w - - 0 1", "g1e2", "Ne2")):
            self.referee.new_game(fen)
            self.assertEqual(self.referee.move_of_san(san), move, fen)
            self.assertEqual(self.referee.play(move)[0], san, fen)

    def test_notation_of_others(self):
        self.referee.new_game("startpos")
        for san, move in (("Ng1f3", "g1f3"), ("Nf3!?", "g1f3"), ("e4", "e2e4"), ("N1f3", "g1f3")):
            self.assertEqual(self.referee.move_of_san(san), move)
        for san in ("Nd2", "e5", "", "x", "0-0"):
            self.assertIsNone(self.referee.move_of_san(san))
        self.referee.new_game("4k3/8/8/8/8/8/4K3/R6R w - - 0 1")
        self.assertIsNone(self.referee.move_of_san("Rd1"))
        self.assertEqual(self.referee.reason, "ambiguous move")

    def test_bad_requests(self):
        self.assertIsNone(self.referee.ask("move e2e4"))
        self.assertIsNone(self.referee.ask("dance"))
        self.assertIsNone(self.referee.ask("new " + "x" * 3000))
        self.assertEqual(self.referee.reason, "request too long")
        self.assertIsNone(self.referee.new_game("8/8/8/8/8/8/8/8 w - - 0 1"))
        self.assertEqual(self.referee.new_game("startpos")[0], "ongoing")
        for move in ("e2e5", "", "e7e5", "e2e4q", "zzzz"):
            self.assertIsNone(self.referee.play(move))
        self.assertEqual(len(self.referee.legal_moves()), 20)

    def test_chess960_castling(self):
        self.referee.new_game("4k3/8/8/8/8/8/8/RK5R w KQ - 0 1", chess960=True)
        moves = self.referee.legal_moves()
        self.assertIn("b1h1", moves)
        self.assertIn("b1a1", moves)
        self.assertEqual(self.referee.play("b1a1")[0], "O-O-O")


class PartsTest(unittest.TestCase):
    def test_clock(self):
        clock = Clock(Limits(base=1.0, increment=0.1))
        self.assertTrue(clock.press(0.6))
        self.assertAlmostEqual(clock.left, 0.5)
        self.assertEqual(clock.milliseconds(), 500)
        self.assertFalse(clock.press(0.501))
        # A margin forgives, but gives no time.
        clock = Clock(Limits(base=1.0, increment=0.1, margin=0.05))
        self.assertTrue(clock.press(1.04))
        self.assertAlmostEqual(clock.left, 0.1)
        # Two moves a control.
        clock = Clock(Limits(base=1.0, moves=2))
        other = Clock(Limits(base=1.0, moves=2))
        self.assertEqual(clock.go(other, True), "go wtime 1000 btime 1000 winc 0 binc 0 movestogo 2")
        clock.press(0.25)
        self.assertEqual(clock.go(other, False), "go wtime 1000 btime 750 winc 0 binc 0 movestogo 1")
        clock.press(0.25)
        self.assertAlmostEqual(clock.left, 1.5)

    def test_stalls_of_a_core(self):
        core = Core(10.0)
        core.note(10.0 + SLEEP_SECONDS + 0.001)  # as punctual as can be expected
        self.assertEqual(len(core.stalls), 0)
        due = core.due
        core.note(due + 0.5)
        self.assertAlmostEqual(core.stood_still(due - 1.0, due + 0.502), 0.5)
        self.assertAlmostEqual(core.stood_still(due + 0.1, due + 0.2), 0.1)
        self.assertEqual(core.stood_still(due - 2.0, due - 1.0), 0.0)
        # One that goes on: the thread has not come back yet.
        due = core.due
        self.assertAlmostEqual(core.stood_still(due, due + 0.3), 0.3)

    def test_adjudicator(self):
        rules = Rules(resign_score=500, resign_moves=2, draw_score=10, draw_moves=2, draw_from=10)
        judge = Adjudicator(rules)
        # White says +6, Black -6: both for White. A disagreement starts the count again.
        self.assertIsNone(judge.judge(True, 600, 1))
        self.assertIsNone(judge.judge(False, -600, 1))
        self.assertIsNone(judge.judge(True, 600, 2))
        self.assertIsNone(judge.judge(False, -400, 2))
        for white, score in ((True, 600), (False, -600), (True, 700)):
            self.assertIsNone(judge.judge(white, score, 3))
        self.assertEqual(judge.judge(False, -32000, 4), ("1-0", "adjudication: decided"))
        judge = Adjudicator(rules)
        for number, white in ((8, True), (8, False), (9, True), (9, False)):
            self.assertIsNone(judge.judge(white, 5, number))
        self.assertEqual(judge.judge(True, -10, 10), ("1/2-1/2", "adjudication: level"))
        judge = Adjudicator(rules)
        for _ in range(50):
            self.assertIsNone(judge.judge(True, None, 50))

    def test_pgn_reader(self):
        games = match.games_of_pgn('[Event "a \\"b\\""]\n\n1. e4 {best (by test)} e5 2.Nf3 (2. f4 exf4 (2... d5)) Nc6 $1\n'
                                   '; a line\n3. Bb5 1-0\n\n[FEN "8/8/8/8/8/8/8/8 w - - 0 1"]\n\n1... Kd5 *')
        self.assertEqual([moves for _, moves in games], [["e4", "e5", "Nf3", "Nc6", "Bb5"], ["Kd5"]])
        self.assertEqual(games[1][0]["FEN"], "8/8/8/8/8/8/8/8 w - - 0 1")

    def test_own_openings(self):
        referee = Referee([REFEREE], StopSignal())
        openings = match.load_openings(os.path.join(TRAINING, "openings.epd"), referee, 0, False)
        referee.close()
        self.assertGreaterEqual(len(openings), 300)
        self.assertEqual(len({opening.fen for opening in openings}), len(openings))


if __name__ == "__main__":
    unittest.main()
