"""What the results of a match say: Elo with error bars, normalised Elo, and the sequential test.

Games are played in pairs: one opening, both colours. The two games of a pair are not independent (an
opening that favours White tends to give one win each), so the pair is the unit of all statistics. The
pair's score is 0, 1/2, 1, 3/2 or 2 points; a match is five counts of pairs, `pairs[0]` to `pairs[4]`.
Everything is from the view of engine A.

Normalised Elo is the mean score's distance from 1/2 in units of the standard deviation of one game,
times 800 / ln 10. Other than Elo it says directly how many games a proof takes. The test is the
generalised sequential probability ratio test of H0 "normalised Elo is elo0" against H1 "it is elo1"
on the five-valued pair scores, as published by Michel Van den Bergh.
"""

import math

PAIR_SCORES = (0.0, 0.25, 0.5, 0.75, 1.0)  # mean score of a game, by pair result
NORMALISED_ELO = 800.0 / math.log(10.0)
CONFIDENCE_95 = 1.959963984540054  # standard deviations
SMALL_COUNT = 1e-3  # stands for a pair result that has not occurred yet


def elo_of_score(score):
    """Elo difference that predicts a mean score of `score` (0 to 1) a game."""
    if score <= 0.0:
        return -math.inf
    if score >= 1.0:
        return math.inf
    return -400.0 * math.log10(1.0 / score - 1.0)


def score_of_elo(elo):
    """The inverse of elo_of_score."""
    return 1.0 / (1.0 + 10.0 ** (-elo / 400.0))


def moments(pairs):
    """Mean and variance of the pair's mean score; needs at least one pair."""
    total = sum(pairs)
    mean = sum(count * score for count, score in zip(pairs, PAIR_SCORES)) / total
    variance = sum(count * (score - mean) ** 2 for count, score in zip(pairs, PAIR_SCORES)) / total
    return mean, variance


def elo_interval(pairs):
    """(Elo, lower, upper) with 95 % confidence; None without pairs. A bound is infinite where the
    interval of the mean score reaches 0 or 1, and both are after one pair, which says nothing of errors."""
    total = sum(pairs)
    if total == 0:
        return None
    mean, variance = moments(pairs)
    if total == 1:
        return elo_of_score(mean), -math.inf, math.inf
    margin = CONFIDENCE_95 * math.sqrt(variance / total)
    return elo_of_score(mean), elo_of_score(mean - margin), elo_of_score(mean + margin)


def normalised_elo(pairs):
    """(normalised Elo, 95 % error); None without pairs or when all pairs ended alike."""
    total = sum(pairs)
    if total == 0:
        return None
    mean, variance = moments(pairs)
    if variance <= 0.0:
        return None
    # A pair's mean has half the variance of a game, where the games are independent.
    per_game = math.sqrt(2.0 * variance)
    error = CONFIDENCE_95 * math.sqrt(variance / total) / per_game
    return NORMALISED_ELO * (mean - 0.5) / per_game, NORMALISED_ELO * error


def likelihood_of_superiority(pairs):
    """Probability that A is the better engine, by the normal approximation; None when unknown."""
    total = sum(pairs)
    if total == 0:
        return None
    mean, variance = moments(pairs)
    if variance <= 0.0:
        return None
    return 0.5 * (1.0 + math.erf((mean - 0.5) / math.sqrt(2.0 * variance / total)))


def most_likely_with_expectation_zero(values, frequencies):
    """The distribution on `values` with expectation 0 under which `frequencies` are most likely:
    p_i = f_i / (1 + x v_i), where x solves sum f_i v_i / (1 + x v_i) = 0. The sum falls with x between
    its poles, so bisection finds it. `values` needs both signs."""
    low, high = -1.0 / max(values), -1.0 / min(values)
    for _ in range(200):
        middle = 0.5 * (low + high)
        if middle in (low, high):
            break
        slope = sum(f * v / (1.0 + middle * v) for f, v in zip(frequencies, values))
        if slope > 0.0:
            low = middle
        else:
            high = middle
    return [f / (1.0 + middle * v) for f, v in zip(frequencies, values)]


def most_likely_with_ratio(frequencies, ratio, scores=PAIR_SCORES):
    """The distribution with (mean - 1/2) / deviation = `ratio` under which `frequencies` (all above 0,
    sum 1) are most likely. The condition is linear in the probabilities once mean and deviation are
    fixed at a guess, with the same value and slope there; the guess is improved until it stays."""
    guess = [1.0 / len(scores)] * len(scores)
    for _ in range(100):
        mean = sum(p * a for p, a in zip(guess, scores))
        deviation = math.sqrt(sum(p * (a - mean) ** 2 for p, a in zip(guess, scores)))
        values = [a - 0.5 - 0.5 * ratio * deviation * (1.0 + ((a - mean) / deviation) ** 2) for a in scores]
        better = most_likely_with_expectation_zero(values, frequencies)
        change = max(abs(p - q) for p, q in zip(guess, better))
        guess = better
        if change < 1e-12:
            break
    return guess


def log_likelihood_ratio(pairs, elo0, elo1):
    """Logarithm of how much better "normalised Elo is elo1" explains the pairs than "it is elo0"."""
    if sum(pairs) == 0:
        return 0.0
    counts = [count if count > 0 else SMALL_COUNT for count in pairs]
    total = sum(counts)
    frequencies = [count / total for count in counts]
    # Normalised Elo is by the game; a pair's mean deviates by 1 / sqrt 2 of that.
    ratio0, ratio1 = (elo / NORMALISED_ELO * math.sqrt(2.0) for elo in (elo0, elo1))
    under0 = most_likely_with_ratio(frequencies, ratio0)
    under1 = most_likely_with_ratio(frequencies, ratio1)
    return total * sum(f * math.log(p1 / p0) for f, p0, p1 in zip(frequencies, under0, under1))


def sprt_bounds(alpha, beta):
    """(lower, upper) bound of the log-likelihood ratio: H0 is accepted at the lower, H1 at the upper.
    `alpha` is the risk to accept H1 when H0 holds, `beta` the reverse."""
    return math.log(beta / (1.0 - alpha)), math.log((1.0 - beta) / alpha)
