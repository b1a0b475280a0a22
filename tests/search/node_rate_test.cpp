// Node rates and ratings.
#include "search/node_rate.h"

#include <cmath>

#include "base/settings.h"
#include "search/search_state.h"
#include "support/engine.h"
#include "support/shared_data.h"

TEST(Strength, RatesOfRatings) {
    EXPECT_NEAR(node_rate_of_elo(1500), 15.662436f, 1e-4);
    EXPECT_NEAR(node_rate_of_elo(2500), 2499.0874f, 0.05);
    EXPECT_NEAR(node_rate_of_elo(3300), 649423.4375f, 10);
}

TEST(Strength, ReferenceTable) {
    SKIP_WITHOUT_SHARED("golden/control/elo.tsv");
    int rates = 0, ratings = 0;
    bool second = false;
    for (const std::string &line : read_lines(shared_path("golden/control/elo.tsv"))) {
        if (line[0] == '#') {
            second = line.find("UCI_Elo") != std::string::npos;
            continue;
        }
        const std::vector<std::string> fields = split_tabs(line);
        if (second) {
            const double want = std::stod(fields[1]);
            EXPECT_NEAR(node_rate_of_elo(std::stoi(fields[0])), want, want * 1e-5);
            ++rates;
        } else {
            EXPECT_EQ(static_cast<int>(elo_of_node_rate(std::stod(fields[0]))), std::stoi(fields[2]));
            ++ratings;
        }
    }
    EXPECT_GT(rates, 30);
    EXPECT_GT(ratings, 10);
}

TEST(Strength, ChoiceForASearch) {
    start_engine();
    calibration.nps = 1e6f;
    settings.uci_elo = 1500;
    choose_node_rate(limits_of_settings());
    EXPECT_EQ(search_run.target_nps, 1e6f);
    EXPECT_EQ(search_run.throttled, 0) << "off without UCI_LimitStrength, whatever UCI_Elo says";
    settings.limit_strength = 1;
    choose_node_rate(limits_of_settings());
    EXPECT_NEAR(search_run.target_nps, 15.66f, 0.01);
    EXPECT_EQ(search_run.throttled, 1);
    settings.uci_elo = 3300;
    calibration.nps = 1e5f;
    choose_node_rate(limits_of_settings());
    EXPECT_GT(search_run.target_nps, 6e5f) << "a rating above the machine's raises the target";
    EXPECT_EQ(search_run.throttled, 0);
    settings.uci_elo = 0;
    choose_node_rate(limits_of_settings());
    EXPECT_EQ(search_run.throttled, 0);
}
