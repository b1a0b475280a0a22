#!/usr/bin/env python3
"""Makes an openings file for matches: positions after random moves that a search calls level.

  make_openings.py --count 500 --seed 1 --output training/openings.epd

The same command makes the same file, as long as the engine's search is the same."""

import argparse
import os
import random
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from match import ROOT, find_referee
from match_engine import Engine, Referee, SetupError, StopSignal

SEARCH_SECONDS = 60.0


def random_opening(referee, generator, plies):
    """The FEN after `plies` random moves, or None when the game ends before."""
    referee.new_game("startpos")
    fen = None
    for _ in range(plies):
        _, state, fen = referee.play(generator.choice(referee.legal_moves()))
        if state != "ongoing":
            return None
    return fen


def main():
    parser = argparse.ArgumentParser(description="Positions after random moves that a search calls level.")
    parser.add_argument("--engine", default=os.path.join(ROOT, "build", "release", "tarn"))
    parser.add_argument("--referee")
    parser.add_argument("--count", type=int, default=500, help="positions to find")
    parser.add_argument("--plies", type=int, default=8, help="random half moves")
    parser.add_argument("--nodes", type=int, default=50000, help="nodes of the search")
    parser.add_argument("--limit", type=int, default=40, help="largest score, centipawns")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--output", required=True)
    options = parser.parse_args()
    generator = random.Random(options.seed)
    stop = StopSignal()
    engine = Engine("engine", [options.engine], {}, stop)
    seen = set()
    try:
        referee = Referee(find_referee(options.referee), stop)
        with open(options.output, "w", encoding="utf-8") as file:
            while len(seen) < options.count:
                fen = random_opening(referee, generator, options.plies)
                if fen is None or fen in seen:
                    continue
                engine.new_game()
                engine.move(f"position fen {fen}", f"go nodes {options.nodes}", SEARCH_SECONDS)
                if engine.score is not None and abs(engine.score) <= options.limit:
                    seen.add(fen)
                    file.write(f"{' '.join(fen.split()[:4])} ce {engine.score};\n")
    except (SetupError, ValueError) as error:
        sys.exit(f"make_openings.py: {error}")
    engine.close()
    referee.close()


if __name__ == "__main__":
    main()
