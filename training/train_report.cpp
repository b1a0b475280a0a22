// The table and the drawing of the losses.
#include "train_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

static const char TABLE_HEAD[] =
    "visits,seconds,learning_rate,training_loss,held_out_loss,head0,head1,head2,head3,head4,quantised_loss,"
    "rounding_mean_cp,rounding_max_cp,largest_accumulator,largest_output,clamped,positions_per_second\n";

ReportRow report_row(const HeldOutResult &result) {
    ReportRow row = {};
    const QuantisedResult &quantised = result.quantised;
    row.held_out_loss = mean_loss(result.loss);
    for (int head = 0; head < HEADS; ++head) row.head_loss[head] = mean_loss(result.loss, head);
    row.quantised_loss = mean_loss(quantised.loss);
    row.rounding_mean = quantised.count ? quantised.rounding_sum / static_cast<double>(quantised.count) : 0.0;
    row.rounding_max = quantised.rounding_max;
    row.largest_accumulator = quantised.largest_accumulator;
    row.largest_output = static_cast<double>(quantised.largest_output);
    row.clamped = static_cast<double>(quantised.clamped);
    return row;
}

void print_report(const ReportRow &row, double share_done, double seconds_left) {
    constexpr double HIGHEST_SUM = 2147483647.0;
    std::printf("%5.1f %% %8.1fM visits  lr %.1e  loss: training %.6f  held out %.6f (heads", 100 * share_done,
                static_cast<double>(row.visits) / 1e6, row.rate, row.training_loss, row.held_out_loss);
    for (const double loss : row.head_loss) std::printf(" %.5f", loss);
    std::printf(") quantised %.6f  rounding %.2f cp (at most %.1f)", row.quantised_loss, row.rounding_mean,
                row.rounding_max);
    std::printf("  accumulator %.0f of 32767, output %.1fM (%.2f %%), %.0f clamped", row.largest_accumulator,
                row.largest_output / 1e6, 100 * row.largest_output / HIGHEST_SUM, row.clamped);
    std::printf("  %.0fk positions/s", row.speed / 1e3);
    if (seconds_left >= 0) {
        const long left = std::lround(seconds_left);
        std::printf("  %ld:%02ld:%02ld left", left / 3600, left / 60 % 60, left % 60);
    }
    std::printf("\n");
    std::fflush(stdout);
}

std::vector<ReportRow> read_report_table(const std::string &path, u64 visits) {
    std::vector<ReportRow> rows;
    std::FILE *file = std::fopen(path.c_str(), "r");
    if (!file) return rows;
    char line[512];
    while (std::fgets(line, sizeof line, file)) {
        ReportRow row = {};
        unsigned long long seen;
        double *heads = row.head_loss;
        const int read =
            // NOLINTNEXTLINE(cert-err34-c): the lines are the program's own, so no number is out of range
            std::sscanf(line, "%llu,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf", &seen,
                        &row.seconds, &row.rate, &row.training_loss, &row.held_out_loss, &heads[0], &heads[1],
                        &heads[2], &heads[3], &heads[4], &row.quantised_loss, &row.rounding_mean, &row.rounding_max,
                        &row.largest_accumulator, &row.largest_output, &row.clamped, &row.speed);
        if (read != 17 || seen > visits) continue;
        row.visits = seen;
        rows.push_back(row);
    }
    std::fclose(file);
    return rows;
}

static bool close_written(std::FILE *file, const std::string &path) {
    const bool failed = std::ferror(file);
    if (std::fclose(file) == 0 && !failed) return true;
    std::printf("%s: can't be written\n", path.c_str());
    return false;
}

static std::FILE *open_for_writing(const std::string &path) {
    std::FILE *file = std::fopen(path.c_str(), "w");
    if (!file) std::printf("%s: can't be written\n", path.c_str());
    return file;
}

bool write_report_table(const std::vector<ReportRow> &rows, const std::string &path) {
    std::FILE *file = open_for_writing(path);
    if (!file) return false;
    std::fputs(TABLE_HEAD, file);
    for (const ReportRow &row : rows) {
        std::fprintf(file, "%llu,%.1f,%.4g,%.8f,%.8f", static_cast<unsigned long long>(row.visits), row.seconds,
                     row.rate, row.training_loss, row.held_out_loss);
        for (const double loss : row.head_loss) std::fprintf(file, ",%.8f", loss);
        std::fprintf(file, ",%.8f,%.4f,%.3f,%.0f,%.0f,%.0f,%.0f\n", row.quantised_loss, row.rounding_mean,
                     row.rounding_max, row.largest_accumulator, row.largest_output, row.clamped, row.speed);
    }
    return close_written(file, path);
}

// The drawing's size and the place of the axes, in pixels.
constexpr double WIDTH = 900, HEIGHT = 520, LEFT = 90, RIGHT = 870, TOP = 40, BOTTOM = 460;

// What the axes show.
struct PlotRange {
    double last_visit;
    double lowest, highest;  // loss
};

static PlotRange plot_range(const std::vector<ReportRow> &rows) {
    PlotRange range = {1.0, 1e9, 0.0};
    for (const ReportRow &row : rows) {
        range.last_visit = std::max(range.last_visit, static_cast<double>(row.visits));
        for (const double loss : {row.training_loss, row.held_out_loss}) {
            if (loss <= 0) continue;
            range.lowest = std::min(range.lowest, loss);
            range.highest = std::max(range.highest, loss);
        }
    }
    if (range.lowest > range.highest) range.lowest = range.highest = 0.0;
    const double margin = std::max(0.05 * (range.highest - range.lowest), 1e-6);
    range.lowest -= margin;
    range.highest += margin;
    return range;
}

static double plot_x(const PlotRange &range, double visits) {
    return LEFT + (RIGHT - LEFT) * visits / range.last_visit;
}

static double plot_y(const PlotRange &range, double loss) {
    return BOTTOM - (BOTTOM - TOP) * (loss - range.lowest) / (range.highest - range.lowest);
}

static void draw_axes(std::FILE *file, const PlotRange &range) {
    constexpr int STEPS = 5;
    for (int i = 0; i <= STEPS; ++i) {
        const double loss = range.lowest + (range.highest - range.lowest) * i / STEPS;
        const double visits = range.last_visit * i / STEPS;
        const double x = plot_x(range, visits), y = plot_y(range, loss);
        std::fprintf(file, "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"#ddd\"/>\n", LEFT, y, RIGHT,
                     y);
        std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\">%.5f</text>\n", LEFT - 8, y + 4, loss);
        std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">%.1f</text>\n", x, BOTTOM + 20,
                     visits / 1e6);
    }
    std::fprintf(file, "<path d=\"M%.1f %.1fV%.1fH%.1f\" fill=\"none\" stroke=\"#000\"/>\n", LEFT, TOP, BOTTOM, RIGHT);
    std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"middle\">position visits, millions</text>\n",
                 (LEFT + RIGHT) / 2, BOTTOM + 42);
    std::fprintf(file, "<text x=\"%.1f\" y=\"%.1f\">mean squared error of the win probability</text>\n", LEFT,
                 TOP - 16);
}

// A line through one loss of all rows, with its name at place `key` of the legend.
static void draw_loss(std::FILE *file, const std::vector<ReportRow> &rows, const PlotRange &range,
                      double ReportRow::*loss, const char *colour, const char *name, int key) {
    std::fprintf(file, "<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"1.5\" points=\"", colour);
    for (const ReportRow &row : rows)
        if (row.*loss > 0)
            std::fprintf(file, "%.1f,%.1f ", plot_x(range, static_cast<double>(row.visits)), plot_y(range, row.*loss));
    std::fprintf(file, "\"/>\n<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"end\" fill=\"%s\">%s</text>\n", RIGHT,
                 TOP + 16 + 18 * key, colour, name);
}

bool write_loss_plot(const std::vector<ReportRow> &rows, const std::string &path) {
    std::FILE *file = open_for_writing(path);
    if (!file) return false;
    const PlotRange range = plot_range(rows);
    std::fprintf(
        file,
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\" "
        "font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"100%%\" height=\"100%%\" fill=\"#fff\"/>\n",
        WIDTH, HEIGHT);
    draw_axes(file, range);
    draw_loss(file, rows, range, &ReportRow::training_loss, "#1f77b4", "training", 0);
    draw_loss(file, rows, range, &ReportRow::held_out_loss, "#d62728", "held out", 1);
    std::fputs("</svg>\n", file);
    return close_written(file, path);
}
