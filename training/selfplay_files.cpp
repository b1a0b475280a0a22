#include "selfplay_files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr off_t RECORD_SIZE = sizeof(TrainRecord);

static bool fail(const char *action, const std::string &path) {
    std::fprintf(stderr, "%s %s: %s\n", action, path.c_str(), std::strerror(errno));
    return false;
}

static off_t file_size(int file) {
    struct stat status;
    return fstat(file, &status) == 0 ? status.st_size : 0;
}

bool begin_run(const std::string &output, RunState *state) {
    const std::string path = output + ".state";
    state->file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (state->file < 0) return fail("can't open", path);
    if (flock(state->file, LOCK_EX | LOCK_NB) != 0) {
        std::fprintf(stderr, "another run is writing to %s\n", output.c_str());
        return false;
    }
    char text[64] = "";
    const ssize_t length = pread(state->file, text, sizeof text - 1, 0);
    if (length < 0) return fail("can't read", path);
    text[length] = '\0';
    if (length > 0 && std::strncmp(text, "runs ", 5) != 0) {
        std::fprintf(stderr, "%s is not a state file of tarn-selfplay\n", path.c_str());
        return false;
    }
    state->run = length > 0 ? std::strtoll(text + 5, nullptr, 10) : 0;
    const int written = std::snprintf(text, sizeof text, "runs %lld\n", static_cast<long long>(state->run) + 1);
    if (pwrite(state->file, text, static_cast<std::size_t>(written), 0) != written || fsync(state->file) != 0)
        return fail("can't write", path);
    return true;
}

i64 count_records(int file) { return file_size(file) / RECORD_SIZE; }

// Cuts a piece of a record off the end; the caller holds the lock.
static bool cut_piece(int file, off_t size) {
    return size % RECORD_SIZE == 0 || ftruncate(file, size - size % RECORD_SIZE) == 0;
}

int open_records(const std::string &path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file < 0) {
        fail("can't open", path);
        return -1;
    }
    flock(file, LOCK_EX);
    const bool whole = cut_piece(file, file_size(file));
    flock(file, LOCK_UN);
    if (whole) return file;
    fail("can't cut", path);
    close(file);
    return -1;
}

// Writes until all bytes are out or an error comes.
static bool write_bytes(int file, const char *bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = write(file, bytes, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool append_records(int file, const std::string &path, const std::vector<TrainRecord> &records) {
    if (records.empty()) return true;
    while (flock(file, LOCK_EX) != 0 && errno == EINTR) {}
    const off_t size = file_size(file);
    bool written = cut_piece(file, size);
    if (written &&
        !write_bytes(file, reinterpret_cast<const char *>(records.data()), records.size() * sizeof(TrainRecord))) {
        const int error = errno;
        if (ftruncate(file, size - size % RECORD_SIZE) != 0)
            std::fprintf(stderr, "%s ends in a piece of a record\n", path.c_str());
        errno = error;
        written = false;
    }
    if (!written) fail("can't write", path);
    flock(file, LOCK_UN);
    return written;
}
