// The node counts that identify the search and the evaluation. They change only with a functional change: a new
// built-in network changes NETWORK_NODES, and that line alone.
#include "gtest/gtest.h"
#include "protocol/session.h"
#include "support/sanitizers.h"

static const char *const NETWORK_NODES = "513999";
static const char *const HAND_CRAFTED_NODES = "448692";

// The total of `-pbench` at depth 9.
static std::string signature(Lines arguments) {
    ScratchDirectory directory;
    arguments.insert(arguments.end(), {"-pbench", "-d", "9"});
    Program program(arguments, directory.path);
    const std::string key = "nodes= ";
    for (const std::string &line : program.rest(300)) {
        const std::size_t at = line.find(key);
        if (at != std::string::npos) return line.substr(at + key.size(), line.find(',', at) - at - key.size());
    }
    return "none";
}

TEST(Signature, Network) {
    SKIP_UNDER_THREAD_SANITIZER();
    EXPECT_EQ(signature({}), NETWORK_NODES);
}

TEST(Signature, HandCrafted) { EXPECT_EQ(signature({"-use_hce"}), HAND_CRAFTED_NODES); }
