# Short commands over CMake and Ninja; `make help` lists them. The program is build/release/tarn.

FEN ?=
DEPTH ?= 16
THREADS ?= 1
PREFIX ?= /usr/local
# Read by recipes from the environment, so that no character of a position is special to the shell.
export FEN DEPTH THREADS

# Of `make network`; a variable without a value leaves the step's own default.
FROM ?= builtin
FOLDER ?= build/network
NETWORK_OPTIONS = --from "$(FROM)" --folder "$(FOLDER)" $(if $(POSITIONS),--positions $(POSITIONS)) \
    $(if $(PASSES),--passes $(PASSES)) $(if $(MINUTES),--minutes $(MINUTES)) $(if $(RUNS),--runs $(RUNS)) \
    $(if $(SHARE),--share $(SHARE)) $(if $(GAMES),--games $(GAMES)) $(if $(TC),--tc $(TC)) \
    $(if $(NODES),--nodes $(NODES)) $(if $(SEED),--seed $(SEED)) \
    $(if $(filter file,$(origin THREADS)),,--threads $(THREADS)) $(if $(filter yes,$(REPLACE)),--replace)

PROGRAM := build/release/tarn
EVERYDAY := build/everyday/tarn
BUILD_PACKAGES := g++ cmake ninja-build
TEST_PACKAGES := $(BUILD_PACKAGES) libgtest-dev
LINT_PACKAGES := $(BUILD_PACKAGES) libgtest-dev clang-format clang-tidy-19

# `make EXE=path` alone builds the program to that path.
ifeq ($(origin EXE),command line)
.DEFAULT_GOAL := exe
endif

.PHONY: build everyday run test play bench install asan tsan clang fuzz windows test-windows stress network lint perf profile clean help \
    exe dist test-dist test-reproducible install-packages

# The program as it is played: trained on its benchmark, and trained anew when a source has changed.
build:
	@scripts/need_packages.sh $(BUILD_PACKAGES)
	@cmake --preset release
	@cmake --build build/release --target tarn

# The program for every day: built in a minute, a little slower. The tests need more packages than
# the program, so that a first build leaves them out.
everyday:
	@scripts/need_packages.sh $(BUILD_PACKAGES)
	@test -f build/everyday/build.ninja || cmake --preset everyday -DTARN_TESTS=OFF
	@cmake --build build/everyday --target tarn

# Its input ends after "go", and the program ends by itself when the result is printed.
run: everyday
	@if [ -n "$$FEN" ]; then position="fen $$FEN"; else position=startpos; fi; \
	printf 'setoption name OwnBook value false\nsetoption name Threads value %s\nposition %s\ngo depth %s\n' \
	    "$$THREADS" "$$position" "$$DEPTH" | $(EVERYDAY)

test:
	@scripts/need_packages.sh $(TEST_PACKAGES)
	@cmake --preset everyday -DTARN_TESTS=ON
	@cmake --build build/everyday
	@test -d ../shared/golden || echo "no reference data beside the project: the tests that need it are skipped"
	@ctest --test-dir build/everyday --output-on-failure

play: everyday
	@$(EVERYDAY) -c

# clang-format for the layout, clang-tidy for names, unused includes and bug checks.
lint:
	@scripts/need_packages.sh $(LINT_PACKAGES)
	@scripts/lint.sh

# Where a search spends its time: `make perf` samples the processor, `make profile` counts instructions.
perf profile:
	@scripts/need_packages.sh $(BUILD_PACKAGES) $(if $(filter perf,$@),linux-perf,valgrind)
	@cmake -S . -B build/profile -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTARN_TESTS=OFF
	@cmake --build build/profile --target tarn
	@scripts/$@.sh build/profile/tarn

bench: build
	@scripts/need_packages.sh $(BUILD_PACKAGES) libbenchmark-dev
	@cmake --preset bench
	@cmake --build build/bench
	@for program in build/bench/bench/bench_*; do \
	    if [ -f "$$program" ] && [ -x "$$program" ]; then echo "== $$program"; "$$program" || exit 1; fi; done
	@echo "== whole search"
	@$(PROGRAM) -pbench -d 13

# Python makes the manual page.
install-packages:
	@scripts/need_packages.sh python3

install: install-packages build
	@cmake --install build/release --prefix "$(PREFIX)"

# The program to the path EXE, by the compiler CXX, with what is on the machine: no package is installed.
# TRAINED=no leaves out the training (5 to 7 % slower, built in half the time).
EXE_FOLDER = build/exe-$(subst /,_,$(subst $(SPACE),_,$(CXX)))
SPACE := $(subst ,, )
exe:
	@CXX="$(CXX)" cmake -S . -B "$(EXE_FOLDER)" \
	    -G "$$(command -v ninja >/dev/null && echo Ninja || echo Unix Makefiles)" -DCMAKE_BUILD_TYPE=Release -DTARN_TESTS=OFF -DTARN_WERROR=OFF \
	    -DTARN_PGO=$(if $(filter no,$(TRAINED)),OFF,ON) $(if $(TARN_ARCH),-DTARN_ARCH=$(TARN_ARCH))
	@cmake --build "$(EXE_FOLDER)" --target tarn --parallel "$$(nproc 2>/dev/null || echo 2)"
	@cp -f "$(EXE_FOLDER)/tarn" "$(EXE)"

# TRAINED=yes trains the builds that this machine can run; see scripts/make_dist.sh.
dist:
	@scripts/need_packages.sh $(BUILD_PACKAGES) g++-mingw-w64-x86-64-posix g++-aarch64-linux-gnu dpkg-dev python3
	@TRAINED=$(or $(TRAINED),no) scripts/make_dist.sh $(PACKAGES)

test-dist:
	@scripts/need_packages.sh file unzip
	@scripts/test_dist.sh

test-reproducible:
	@scripts/need_packages.sh $(BUILD_PACKAGES)
	@scripts/test_reproducible.sh

asan tsan clang:
	@scripts/need_packages.sh $(TEST_PACKAGES) $(if $(filter clang,$@),clang)
	@cmake --preset $@
	@cmake --build build/$@
	@ctest --test-dir build/$@ --output-on-failure

# Random games, options, limits and stops against the running program; TARN=path takes another build of it.
stress:
	@scripts/need_packages.sh $(TEST_PACKAGES)
	@cmake --preset everyday -DTARN_TESTS=ON
	@cmake --build build/everyday --target tarn stress
	@build/everyday/tests/stress $(or $(TARN),$(EVERYDAY)) --searches $(or $(SEARCHES),10000) --seed $(or $(SEED),1) \
	    --late 5000

# SECONDS of each target in turn, or of TARGET alone.
fuzz:
	@scripts/need_packages.sh $(TEST_PACKAGES) clang libclang-rt-14-dev
	@cmake --preset fuzz
	@cmake --build build/fuzz --target tarn-fuzz
	@scripts/fuzz.sh "$(or $(SECONDS),10)" $(TARGET)

windows:
	@scripts/need_packages.sh $(BUILD_PACKAGES) g++-mingw-w64-x86-64-posix
	@cmake --preset windows
	@cmake --build build/windows --target tarn

# Conversations with tarn.exe are held by the tests of the Linux build.
test-windows:
	@scripts/need_packages.sh $(TEST_PACKAGES) g++-mingw-w64-x86-64-posix wine64
	@cmake --preset windows -DTARN_TESTS=ON
	@cmake --build build/windows
	@cmake --preset everyday -DTARN_TESTS=ON
	@cmake --build build/everyday --target test_protocol
	@scripts/test_windows.sh build/windows build/everyday

# Built as for every day: `make test-dist` checks the build that is given away.
test-arm64:
	@scripts/need_packages.sh $(TEST_PACKAGES) g++-aarch64-linux-gnu qemu-user
	@cmake --preset arm64 -B build/arm64-tests -DCMAKE_BUILD_TYPE=Everyday -DTARN_TESTS=ON
	@cmake --build build/arm64-tests
	@scripts/test_arm64.sh build/arm64-tests

network:
	@scripts/need_packages.sh $(BUILD_PACKAGES) python3
	@test -f build/release/build.ninja || cmake --preset release -DTARN_TESTS=OFF
	@cmake build/release -DTARN_TRAINING=ON >/dev/null
	@cmake --build build/release --target tarn tarn-selfplay tarn-train tarn-referee
	@python3 training/make_network.py $(NETWORK_OPTIONS)

# Networks in the making are hours of work, so they stay.
clean:
	@rm -rf $(filter-out build/network,$(wildcard build/*))
	@rmdir build 2>/dev/null || true

help:
	@echo "make run [FEN=\"...\"] [DEPTH=16] [THREADS=1]"
	@echo "              build the program and analyse a position (the start position by default)"
	@echo "make test     build everything and run the tests"
	@echo "make play     build the program and start its console for a person"
	@echo "make build    build $(PROGRAM), the file for a chess GUI, trained on its benchmark"
	@echo "make lint     check layout, names and includes"
	@echo "make perf     sample where a search spends its time; make profile counts instructions"
	@echo "make bench    build and run the benchmarks"
	@echo "make install [PREFIX=/usr/local]"
	@echo "              put the program into PREFIX/bin, with manual page and documentation; DESTDIR is honoured"
	@echo "make EXE=path [CXX=g++] [TRAINED=yes] [TARN_ARCH=x86-64-v3]"
	@echo "              build the program to that path; installs no packages"
	@echo "make dist [TRAINED=no] [PACKAGES=\"deb linux-x86-64 ...\"]"
	@echo "              packages and archives in build/dist; make test-dist unpacks and runs them"
	@echo "make test-reproducible"
	@echo "              build twice in different folders and compare"
	@echo "make asan     the tests under the address and undefined-behaviour sanitizers"
	@echo "make tsan     the tests under the thread sanitizer"
	@echo "make clang    the tests as clang++ builds them"
	@echo "make stress [SEARCHES=10000] [SEED=1] [TARN=build/everyday/tarn]"
	@echo "              random games, options, limits and stops against the running program"
	@echo "make fuzz [SECONDS=10] [TARGET=...]"
	@echo "              feed damaged and invented input to the readers; build/fuzz keeps what was found"
	@echo "make windows  cross-compile build/windows/tarn.exe"
	@echo "make test-windows"
	@echo "              the tests of the Windows program, under Wine"
	@echo "make test-arm64"
	@echo "              the tests of the program for 64-bit ARM, under qemu-aarch64"
	@echo "make network [FROM=builtin|hand|FILE] [POSITIONS=10000000] [PASSES=6] [MINUTES=] [RUNS=3] [SHARE=0.8]"
	@echo "              [GAMES=400] [TC=3+0.03] [THREADS=all] [NODES=] [SEED=1] [FOLDER=build/network] [REPLACE=yes]"
	@echo "              make the next network: self-play, training, match; the same command goes on after a stop"
	@echo "make clean    remove everything that was built, but for build/network"
