"""One game between two engines: clocks, the referee's word, adjudication, and the game as PGN."""

import dataclasses
import datetime
import time

from match_engine import NoAnswer, ProgramEnded

WHITE_WINS, BLACK_WINS, DRAWN = "1-0", "0-1", "1/2-1/2"

# How the laws of chess end a game; the referee's word and the text for people.
DRAW_REASONS = {
    "stalemate": "stalemate",
    "material": "insufficient material",
    "threefold": "threefold repetition",
    "fifty": "fifty-move rule",
}
# How an engine loses by a fault. Counted apart, as they say nothing about strength.
TIME_LOSS, ILLEGAL_MOVE, CRASH, STALL = "time", "illegal move", "crash", "stall"
FAULTS = (TIME_LOSS, ILLEGAL_MOVE, CRASH, STALL)


@dataclasses.dataclass
class Limits:
    """What an engine may use for its moves. Seconds; either a clock or a fixed `go` text."""

    base: float = 0.0
    increment: float = 0.0
    moves: int = 0  # moves in a time control, 0 for the whole game
    fixed: str = ""  # "nodes 10000" or "depth 8" instead of a clock
    margin: float = 0.0  # a clock may go below zero by this much
    stall: float = 60.0  # a search without a clock takes no longer

    def tag(self):
        """The TimeControl tag of PGN."""
        if self.fixed:
            return "-"
        control = f"{self.moves}/" if self.moves else ""
        return f"{control}{self.base:g}" + (f"+{self.increment:g}" if self.increment else "")


@dataclasses.dataclass
class Rules:
    """When a game is decided without being played out. A count of 0 switches a rule off."""

    resign_score: int = 700  # centipawns; both engines agree
    resign_moves: int = 4  # full moves in a row
    draw_score: int = 8
    draw_moves: int = 8
    draw_from: int = 40  # not before this move
    max_moves: int = 300  # a draw when the game gets this long


@dataclasses.dataclass
class Opening:
    fen: str  # where the game starts, "startpos" or six fields
    moves: tuple = ()  # coordinate moves played from there
    name: str = ""


@dataclasses.dataclass
class PlayedMove:
    san: str
    comment: str = ""


@dataclasses.dataclass
class Game:
    """A finished game. `fault` is one of FAULTS when the loser lost by it. `stalled`: seconds for which the machine
    stood still during the search that lost on time; 0 where that is not watched."""

    result: str
    reason: str
    fault: str = ""
    start_fen: str = ""
    white_to_start: bool = True
    moves: list = dataclasses.field(default_factory=list)
    detail: str = ""
    stalled: float = 0.0


class Adjudicator:
    """Watches the scores of both sides. Scores are the engine's own view, None when it told none."""

    def __init__(self, rules):
        self.rules = rules
        self.decided = 0  # half moves in a row with a decided score for the same side
        self.leader = 0
        self.level = 0  # half moves in a row with a level score

    def judge(self, white_moved, score, move_number):
        """(result, reason), or None while the game goes on."""
        rules = self.rules
        white_score = None if score is None else score if white_moved else -score
        decided = white_score is not None and abs(white_score) >= rules.resign_score
        leader = 0 if not decided else 1 if white_score > 0 else -1
        self.decided = self.decided + 1 if decided and leader == self.leader else int(decided)
        self.leader = leader
        is_level = white_score is not None and abs(white_score) <= rules.draw_score
        self.level = self.level + 1 if is_level else 0
        if rules.resign_moves and self.decided >= 2 * rules.resign_moves:
            return (WHITE_WINS if leader > 0 else BLACK_WINS), "adjudication: decided"
        if rules.draw_moves and move_number >= rules.draw_from and self.level >= 2 * rules.draw_moves:
            return DRAWN, "adjudication: level"
        return None


class Clock:
    def __init__(self, limits):
        self.limits = limits
        self.left = limits.base
        self.moves = 0

    def allowed(self):
        """Seconds after which the engine has lost, or is stuck when there is no clock."""
        return self.limits.stall if self.limits.fixed else self.left + self.limits.margin

    def press(self, used):
        """False when the flag fell."""
        if self.limits.fixed:
            return True
        self.left -= used
        if self.left < -self.limits.margin:
            return False
        self.left = max(self.left, 0.0) + self.limits.increment
        self.moves += 1
        if self.limits.moves and self.moves % self.limits.moves == 0:
            self.left += self.limits.base
        return True

    def milliseconds(self):
        return max(1, int(self.left * 1000.0))

    def go(self, other, white_moves):
        """The text of `go` for this side."""
        limits = self.limits
        if limits.fixed:
            return f"go {limits.fixed}"
        white, black = (self, other) if white_moves else (other, self)
        text = (f"go wtime {white.milliseconds()} btime {black.milliseconds()}"
                f" winc {int(white.limits.increment * 1000.0)} binc {int(black.limits.increment * 1000.0)}")
        if limits.moves:
            text += f" movestogo {limits.moves - self.moves % limits.moves}"
        return text


def lost(white_loses):
    return BLACK_WINS if white_loses else WHITE_WINS


def ask_for_move(engine, clock, other, white_moves, position):
    """(move, seconds, None), or (None, None, (fault, detail)) when the engine has lost by one."""
    try:
        move, used = engine.move(position, clock.go(other, white_moves), clock.allowed())
    except NoAnswer:
        fault = STALL if clock.limits.fixed else TIME_LOSS
        return None, None, (fault, f"no move within {clock.allowed():.3f} s")
    except ProgramEnded as error:
        return None, None, (CRASH, str(error))
    left = clock.left
    if not clock.press(used):
        return None, None, (TIME_LOSS, f"took {used:.3f} s of {left:.3f} s")
    return move, used, None


def move_comment(engine, used):
    if engine.score is None:
        return f"{used:.3f}s"
    if abs(engine.score) > 30000:
        plies = 32000 - abs(engine.score)
        score = f"{'+' if engine.score > 0 else '-'}M{plies}"
    else:
        score = f"{engine.score / 100.0:+.2f}"
    depth = f"/{engine.depth}" if engine.depth is not None else ""
    return f"{score}{depth} {used:.3f}s"


def outcome_of_state(state, white_moved):
    """(result, reason) for the referee's state after a move; None while the game goes on."""
    if state == "mate":
        return lost(not white_moved), "checkmate"
    return (DRAWN, DRAW_REASONS[state]) if state in DRAW_REASONS else None


def play_opening(referee, opening, chess960):
    """(start FEN, PlayedMoves, state, FEN) with the opening's moves on the referee's board."""
    answer = referee.new_game(opening.fen, chess960)
    if answer is None:
        raise ValueError(f"opening {opening.fen}: {referee.reason}")
    state, fen = answer
    start, moves = fen, []
    for move in opening.moves:
        answer = referee.play(move)
        if answer is None:
            raise ValueError(f"opening {opening.fen}: {move}: {referee.reason}")
        san, state, fen = answer
        moves.append(PlayedMove(san, "book"))
    return start, moves, state, fen


def prepare_engine(engine):
    """A fault of an engine that ended or hangs between two games, else None. It is started anew."""
    try:
        engine.new_game()
        return None
    except ProgramEnded as error:
        fault = (CRASH, f"between games: {error}")
    except NoAnswer:
        fault = (STALL, "no answer between games")
    engine.drop()
    engine.new_game()
    return fault


def play_game(white, black, limits_white, limits_black, opening, rules, referee, chess960=False, on_fault=None,
              stall_watch=None):
    """Plays a game and returns it. `on_fault(engine, fault, detail)` hears of faults between games."""
    for engine in (white, black):
        fault = prepare_engine(engine)
        if fault and on_fault:
            on_fault(engine, *fault)
    start_fen, moves, state, fen = play_opening(referee, opening, chess960)
    game = Game(result="", reason="", start_fen=start_fen, white_to_start=start_fen.split()[1] == "w", moves=moves)
    clocks = {True: Clock(limits_white), False: Clock(limits_black)}
    adjudicator = Adjudicator(rules)
    position = "position startpos" if opening.fen == "startpos" else f"position fen {start_fen}"
    position += " moves" if opening.moves else ""
    position += "".join(" " + move for move in opening.moves)
    outcome = outcome_of_state(state, fen.split()[1] == "b")
    while outcome is None:
        white_moves = fen.split()[1] == "w"
        engine = white if white_moves else black
        asked_at = time.perf_counter()
        move, used, fault = ask_for_move(engine, clocks[white_moves], clocks[not white_moves], white_moves, position)
        answer = None if fault else referee.play(move)
        if not fault and answer is None:
            fault = (ILLEGAL_MOVE, f"{move or 'no move'} in {fen}")
        if fault:
            game.fault, game.detail = fault
            if stall_watch and game.fault == TIME_LOSS:
                game.stalled = stall_watch.stood_still(asked_at, time.perf_counter())
            outcome = lost(white_moves), f"{'White' if white_moves else 'Black'}: {fault[0]}"
            engine.drop()
            break
        move_number = int(fen.split()[5])
        san, state, fen = answer
        moves.append(PlayedMove(san, move_comment(engine, used)))
        if " moves" not in position:
            position += " moves"
        position += " " + move
        outcome = outcome_of_state(state, white_moves) or adjudicator.judge(white_moves, engine.score, move_number)
        if outcome is None and rules.max_moves and len(moves) >= 2 * rules.max_moves:
            outcome = DRAWN, "adjudication: length"
    game.result, game.reason = outcome
    return game


def pgn_termination(game):
    if game.fault == TIME_LOSS:
        return "time forfeit"
    if game.fault:
        return "rules infraction" if game.fault == ILLEGAL_MOVE else "abandoned"
    return "adjudication" if game.reason.startswith("adjudication") else "normal"


STARTPOS = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"


def pgn_of_game(game, event, white, black, round_text, time_control, chess960=False):
    """The game as PGN, with a blank line after it. Lines are at most 80 characters, where words allow."""
    tags = [("Event", event), ("Site", "?"), ("Date", datetime.date.today().strftime("%Y.%m.%d")),
            ("Round", round_text), ("White", white), ("Black", black), ("Result", game.result)]
    if chess960:
        tags.append(("Variant", "Chess960"))
    if game.start_fen != STARTPOS:
        tags += [("SetUp", "1"), ("FEN", game.start_fen)]
    tags += [("PlyCount", str(len(game.moves))), ("TimeControl", time_control),
             ("Termination", pgn_termination(game))]
    escape = str.maketrans({"\\": "\\\\", '"': '\\"'})
    lines = [f'[{name} "{value.translate(escape)}"]' for name, value in tags] + [""]
    words = []
    number = int(game.start_fen.split()[5])
    white_moves = game.white_to_start
    for index, move in enumerate(game.moves):
        if white_moves:
            words.append(f"{number}.")
        elif index == 0 or game.moves[index - 1].comment:
            words.append(f"{number}...")
        words.append(move.san)
        if move.comment:
            words += ("{" + move.comment + "}").split()
        number += not white_moves
        white_moves = not white_moves
    words += ("{" + game.reason + "}").split() + [game.result]
    line = ""
    for word in words:
        if line and len(line) + 1 + len(word) > 80:
            lines.append(line)
            line = word
        else:
            line = f"{line} {word}" if line else word
    lines += [line, "", ""]
    return "\n".join(lines)


