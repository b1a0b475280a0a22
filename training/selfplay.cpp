// tarn-selfplay: makes training records by games of the engine against itself.
#include <cstdio>

int main() {
    std::fputs("tarn-selfplay: no games yet\n", stderr);
    return 1;
}
