"""Elo, error bars and the sequential test on lists of results whose values follow by hand."""

import math
import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "training"))

import match_statistics as statistics
from match import Standing


class EloTest(unittest.TestCase):
    def test_scores_and_elo_are_inverse(self):
        # 10^(200/400) = 3.16228, so the score is 3.16228 / 4.16228 = 0.759747.
        self.assertAlmostEqual(statistics.score_of_elo(200.0), 0.759747, 6)
        # Three points of four: 400 log10 3 = 190.8485.
        self.assertAlmostEqual(statistics.elo_of_score(0.75), 190.8485, 4)
        self.assertEqual(statistics.elo_of_score(0.5), 0.0)
        self.assertEqual(statistics.elo_of_score(0.0), -math.inf)
        self.assertEqual(statistics.elo_of_score(1.0), math.inf)

    def test_error_bars_of_a_fixed_list(self):
        # 100 pairs: 10 x 0.25, 60 x 0.5, 30 x 0.75 points a game. Mean (2.5 + 30 + 22.5) / 100 = 0.55.
        # Variance (10 x 0.09 + 60 x 0.0025 + 30 x 0.04) / 100 = (0.9 + 0.15 + 1.2) / 100 = 0.0225, so
        # the deviation is 0.15, that of the mean 0.015, and the margin 1.96 x 0.015 = 0.0294.
        elo, low, high = statistics.elo_interval([0, 10, 60, 30, 0])
        self.assertAlmostEqual(elo, 400.0 * math.log10(0.55 / 0.45), 9)
        self.assertAlmostEqual(elo, 34.860, 3)
        self.assertAlmostEqual(low, statistics.elo_of_score(0.55 - 0.0293995), 4)
        self.assertAlmostEqual(high, statistics.elo_of_score(0.55 + 0.0293995), 4)
        # The slope of Elo at 0.55 is 400 / (ln 10 x 0.55 x 0.45) = 701.88, so about +-20.6.
        self.assertAlmostEqual((high - low) / 2.0, 20.63, delta=0.1)

    def test_normalised_elo_of_a_fixed_list(self):
        # The same list: a game deviates by 0.15 x sqrt 2 = 0.212132. 0.05 / 0.212132 = 0.235702, times
        # 800 / ln 10 = 347.4356 gives 81.89. The error is 1.96 x 347.4356 / sqrt(200 games) = 48.15.
        value, error = statistics.normalised_elo([0, 10, 60, 30, 0])
        self.assertAlmostEqual(value, 81.891, 3)
        self.assertAlmostEqual(error, 48.151, 3)

    def test_pairs_shrink_the_error_of_one_sided_openings(self):
        # White wins every game: each pair is one point, nothing is uncertain.
        self.assertEqual(statistics.elo_interval([0, 0, 50, 0, 0]), (0.0, 0.0, 0.0))
        self.assertIsNone(statistics.normalised_elo([0, 0, 50, 0, 0]))

    def test_no_pairs(self):
        self.assertIsNone(statistics.elo_interval([0] * 5))
        self.assertEqual(statistics.elo_interval([0, 0, 1, 0, 0]), (0.0, -math.inf, math.inf))
        self.assertIsNone(statistics.normalised_elo([0] * 5))
        self.assertIsNone(statistics.likelihood_of_superiority([0] * 5))

    def test_swapping_the_engines_changes_the_sign(self):
        pairs = [3, 20, 50, 31, 6]
        elo, low, high = statistics.elo_interval(pairs)
        other = statistics.elo_interval(pairs[::-1])
        for value, mirrored in zip((elo, low, high), (other[0], other[2], other[1])):
            self.assertAlmostEqual(value, -mirrored, 9)

    def test_likelihood_of_superiority(self):
        # Mean 0.55, deviation of the mean 0.015: 3.333 deviations, whose normal integral is 0.99957.
        self.assertAlmostEqual(statistics.likelihood_of_superiority([0, 10, 60, 30, 0]), 0.99957, 5)
        self.assertAlmostEqual(statistics.likelihood_of_superiority([5, 10, 60, 10, 5]), 0.5, 12)


class SequentialTest(unittest.TestCase):
    def test_bounds(self):
        # ln(0.05 / 0.95) = -2.944439, ln(0.95 / 0.05) = 2.944439.
        lower, upper = statistics.sprt_bounds(0.05, 0.05)
        self.assertAlmostEqual(lower, -2.944439, 6)
        self.assertAlmostEqual(upper, 2.944439, 6)
        lower, upper = statistics.sprt_bounds(0.05, 0.10)
        self.assertAlmostEqual(lower, math.log(0.10 / 0.95), 12)
        self.assertAlmostEqual(upper, math.log(0.90 / 0.05), 12)

    def test_two_outcomes_have_a_closed_form(self):
        # Pairs that end 0 or 2 points only: a coin with P(1) = p has (p - 1/2) / sqrt(p (1 - p)) = t,
        # so p = 1/2 + t / (2 sqrt(1 + t^2)), and it is the only distribution with that ratio.
        for ratio in (-0.8, -0.1, 0.0, 0.05, 0.5):
            found = statistics.most_likely_with_ratio([0.4, 0.6], ratio, (0.0, 1.0))
            wanted = 0.5 + ratio / (2.0 * math.sqrt(1.0 + ratio * ratio))
            self.assertAlmostEqual(found[1], wanted, 9)
            self.assertAlmostEqual(sum(found), 1.0, 9)

    def test_ratio_of_two_outcomes(self):
        # 40 lost and 60 won pairs, elo0 = 0 and elo1 = 24.5674: t1 = 24.5674 / 347.4356 x sqrt 2 = 0.1,
        # p1 = 1/2 + 0.05 / sqrt 1.01 = 0.5497519, and the ratio is
        # 40 ln(0.4502481 / 0.5) + 60 ln(0.5497519 / 0.5) = -4.19222 + 5.69151 = 1.49929.
        # The three results that never came count 0.001 each, which moves it by less than 0.01.
        elo1 = 0.1 / math.sqrt(2.0) * statistics.NORMALISED_ELO
        self.assertAlmostEqual(elo1, 24.5674, 4)
        self.assertAlmostEqual(statistics.log_likelihood_ratio([40, 0, 0, 0, 60], 0.0, elo1), 1.49929, 2)

    def test_solution_meets_its_condition_and_is_the_best(self):
        frequencies = [0.03, 0.18, 0.46, 0.26, 0.07]
        scores = statistics.PAIR_SCORES
        ratio = 0.12
        best = statistics.most_likely_with_ratio(frequencies, ratio)

        def ratio_of(p):
            mean = sum(q * a for q, a in zip(p, scores))
            return (mean - 0.5) / math.sqrt(sum(q * (a - mean) ** 2 for q, a in zip(p, scores)))

        self.assertAlmostEqual(sum(best), 1.0, 9)
        self.assertAlmostEqual(ratio_of(best), ratio, 9)
        likelihood = sum(f * math.log(p) for f, p in zip(frequencies, best))
        # Neighbours with the same ratio: tilt two probabilities, then restore sum and ratio by the ends.
        tried = 0
        for i in (1, 2, 3):
            for step in (0.01, -0.01):
                low, high = -0.02, 0.02  # of probability moved from the bottom to the top
                other = None
                for _ in range(100):
                    middle = 0.5 * (low + high)
                    other = list(best)
                    other[i] += step
                    other[0] -= middle + step / 2.0
                    other[4] += middle - step / 2.0
                    if ratio_of(other) < ratio:
                        low = middle
                    else:
                        high = middle
                if min(other) > 0.0 and abs(ratio_of(other) - ratio) < 1e-9:
                    tried += 1
                    self.assertLess(sum(f * math.log(p) for f, p in zip(frequencies, other)), likelihood)
        self.assertGreaterEqual(tried, 4)

    def test_ratio_at_the_observed_value_is_the_observed_distribution(self):
        pairs = [10, 40, 90, 50, 10]
        mean, variance = statistics.moments(pairs)
        found = statistics.most_likely_with_ratio([n / 200 for n in pairs], (mean - 0.5) / math.sqrt(variance))
        for p, n in zip(found, pairs):
            self.assertAlmostEqual(p, n / 200, 9)

    def test_long_match_agrees_with_the_normal_approximation(self):
        # For small ratios and many pairs: N (t1 - t0) (t - (t0 + t1) / 2), t the observed ratio.
        pairs = [200, 2100, 5200, 2250, 250]
        total = sum(pairs)
        mean, variance = statistics.moments(pairs)
        t = (mean - 0.5) / math.sqrt(variance)
        t1 = 5.0 / statistics.NORMALISED_ELO * math.sqrt(2.0)
        approximate = total * t1 * (t - t1 / 2.0)
        exact = statistics.log_likelihood_ratio(pairs, 0.0, 5.0)
        self.assertGreater(approximate, 2.0)
        self.assertAlmostEqual(exact, approximate, delta=0.02 * approximate)

    def test_symmetry(self):
        self.assertAlmostEqual(statistics.log_likelihood_ratio([5, 20, 50, 20, 5], -3.0, 3.0), 0.0, 6)
        pairs = [5, 20, 50, 25, 9]
        self.assertAlmostEqual(statistics.log_likelihood_ratio(pairs, 0.0, 4.0),
                               -statistics.log_likelihood_ratio(pairs[::-1], -4.0, 0.0), 6)

    def test_extreme_results_stay_finite(self):
        for pairs in ([0, 0, 0, 0, 300], [300, 0, 0, 0, 0], [0, 0, 300, 0, 0], [1, 0, 0, 0, 0]):
            self.assertTrue(math.isfinite(statistics.log_likelihood_ratio(pairs, 0.0, 5.0)))
        self.assertGreater(statistics.log_likelihood_ratio([0, 0, 0, 0, 300], 0.0, 5.0), 0.0)
        self.assertLess(statistics.log_likelihood_ratio([300, 0, 0, 0, 0], 0.0, 5.0), 0.0)
        self.assertEqual(statistics.log_likelihood_ratio([0] * 5, 0.0, 5.0), 0.0)


class StandingTest(unittest.TestCase):
    def test_pairs_of_games(self):
        standing = Standing()
        # Pairs (0, 1): 2 points, (2, 3): 1, (4, 5): 1.5, (6, 7): half done, (8, 9): 0.
        for number, points in ((0, 1.0), (1, 1.0), (3, 1.0), (2, 0.0), (5, 0.5), (4, 1.0), (6, 1.0), (8, 0.0), (9, 0.0)):
            standing.add(number, points)
        self.assertEqual(standing.wins_losses_draws(), (5, 3, 1))
        self.assertEqual(standing.pairs(), [1, 0, 1, 1, 1])


if __name__ == "__main__":
    unittest.main()
