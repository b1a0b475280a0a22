// Splitting EPD lines.
#include "formats/epd.h"

#include <cstring>
#include <string>

#include "gtest/gtest.h"
#include "support/shared_data.h"

static EpdLine split(const std::string &line) {
    EpdLine out;
    split_epd_line(line.c_str(), &out);
    return out;
}

TEST(EpdLine, Remarks) {
    EXPECT_TRUE(is_remark("# x"));
    EXPECT_TRUE(is_remark(" 4k3/8/8/8/8/8/8/4K3 w - -"));
    EXPECT_TRUE(is_remark("; x"));
    EXPECT_FALSE(is_remark("4k3/8/8/8/8/8/8/4K3 w - -"));
    EXPECT_FALSE(is_remark(""));
}

TEST(EpdLine, FieldsAndOperations) {
    const EpdLine f =
        split("4k3/8/8/8/8/8/8/4K3 w - - bm Ke2 Kf2; am Kd1; ce 12; sc -5; gr 0.5; id \"a b\"; c0 \"x=3, y=4\";");
    EXPECT_STREQ(f.fen, "4k3/8/8/8/8/8/8/4K3 w - -");
    EXPECT_STREQ(f.bm, "Ke2Kf2");
    EXPECT_STREQ(f.am, "Kd1");
    EXPECT_STREQ(f.ce, "12");
    EXPECT_STREQ(f.sc, "-5");
    EXPECT_STREQ(f.gr, "0.5");
    EXPECT_STREQ(f.id, "\"ab\"");
    EXPECT_STREQ(f.c0, "\"x=3,y=4\"");
}

TEST(EpdLine, CountersBehindTheFieldsDoNoHarm) {
    const EpdLine f = split("4k3/8/8/8/8/8/8/4K3 w - - 12 34 bm Ke2;");
    EXPECT_STREQ(f.fen, "4k3/8/8/8/8/8/8/4K3 w - -");
    EXPECT_STREQ(f.bm, "Ke2");
}

TEST(EpdLine, UnendedAndEmptyOperationsEndTheScan) {
    EXPECT_STREQ(split("4k3/8/8/8/8/8/8/4K3 w - - bm Ke2; ce 7").ce, "");
    EXPECT_STREQ(split("4k3/8/8/8/8/8/8/4K3 w - - ; bm Ke2;").bm, "");
    EXPECT_STREQ(split("4k3/8/8/8/8/8/8/4K3 w - - bm Ke2;; am Kf1;").am, "Kf1");
    EXPECT_STREQ(split("4k3/8/8/8/8/8/8/4K3 w - - bmx Ke2; b Kf1;").bm, "");
}

TEST(EpdLine, OverlongTextIsCut) {
    const EpdLine f = split("4k3/8/8/8/8/8/8/4K3 w - - id " + std::string(5000, 'a') + "; bm Ke2;");
    EXPECT_EQ(std::strlen(f.id), EPD_FIELD - 1u);
    EXPECT_STREQ(f.bm, "Ke2");
    EXPECT_EQ(std::strlen(split(std::string(5000, 'k')).fen), EPD_FIELD - 1u);
    EXPECT_STREQ(split("").fen, "");
}

// The value of a name in the flat, one-pair-a-line JSON of the file, with \" and \\ undone.
static bool json_pair(const std::string &line, std::string *name, std::string *value) {
    const std::size_t colon = line.find("\": \"");
    if (line.empty() || line[0] != '"' || colon == std::string::npos) return false;
    *name = line.substr(1, colon - 1);
    value->clear();
    for (std::size_t i = colon + 4; i < line.size() && line[i] != '"'; ++i) {
        if (line[i] == '\\') ++i;
        *value += line[i];
    }
    return true;
}

TEST(EpdLine, ReferenceLines) {
    SKIP_WITHOUT_SHARED("golden/board/epd_line.json");
    EpdLine fields{};
    const char *const values[8] = {fields.fen, fields.bm, fields.am, fields.ce,
                                   fields.sc,  fields.gr, fields.id, fields.c0};
    const char *const names[8] = {"fen", "bm", "am", "ce", "sc", "gr", "id", "c0"};
    int checked = 0;
    for (const std::string &line : read_lines(shared_path("golden/board/epd_line.json"))) {
        std::string name, value;
        if (!json_pair(line, &name, &value)) continue;
        if (name == "line") {
            split_epd_line(value.c_str(), &fields);
            continue;
        }
        for (int i = 0; i < 8; ++i)
            if (name == names[i]) {
                EXPECT_EQ(values[i], value) << name;
                ++checked;
            }
    }
    EXPECT_GT(checked, 150);
}
