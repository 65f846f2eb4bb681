# Lumi-Vaxel top-level commands. `make check` and `make demo` install what is missing first.
#   make check             build and run every test (build/)
#   make check SANITIZE=1  the same with AddressSanitizer + UndefinedBehaviorSanitizer (build-asan/)
#   make tsan              the worker, making (one thread and several) and playing tests under
#                          ThreadSanitizer (build-tsan/)
#   make demo              build and render the example project into out/
#   make fuzz SECONDS=N    build every fuzz target with libFuzzer (build-fuzz/), run each N seconds
#                          (MERGE=1: keep the inputs that reached new code in fuzz/corpus/)
#   make bench             build the benchmarks (bench/) in release mode
#   make install PREFIX=D  install program, library, headers, plugins, vemo.pc, man page under D
#   make package           build the Debian package into build/package/

JOBS ?= $(shell nproc 2>/dev/null || echo 2)
ifeq ($(SANITIZE),1)
  BUILD ?= build-asan
  CMAKE_FLAGS += -DVEMO_SANITIZE=ON -DVEMO_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug
else
  BUILD ?= build
  CMAKE_FLAGS += -DCMAKE_BUILD_TYPE=RelWithDebInfo
endif

.PHONY: all deps configure build check fuzz tsan demo bench install package format clean

all: build

deps:
	@scripts/install-deps

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja $(CMAKE_FLAGS) > /dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

check: build
	@cd $(BUILD) && ASAN_OPTIONS=detect_leaks=1 LSAN_OPTIONS=suppressions=$(CURDIR)/scripts/lsan.supp:print_suppressions=0 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS)

SECONDS ?= 60
fuzz: deps
	@MERGE=$(MERGE) scripts/fuzz $(SECONDS) $(JOBS)

# Only the engine tests and the plugins they make files with.
TSAN_TARGETS = test_engine $(patsubst plugins/%/CMakeLists.txt,plugin_%,$(wildcard plugins/*/CMakeLists.txt))
# Passes only at full speed: under ThreadSanitizer the first picture is not yet due when the
# sound it checks has been pulled.
TSAN_SLOW_FAILS = Playing.TheCompositeSoundIsTheFileFromTheStartTime
tsan: deps
	@cmake -S . -B build-tsan -G Ninja -DVEMO_SANITIZE_THREAD=ON -DVEMO_BENCH=OFF -DCMAKE_BUILD_TYPE=Debug > /dev/null
	@cmake --build build-tsan -j $(JOBS) --target $(TSAN_TARGETS)
	@cd build-tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=$(CURDIR)/scripts/tsan.supp \
	  bin/test_engine --gtest_filter='Worker.*:Making*.*:ParallelMaking.*:MakeSetup.*:Play*.*:-$(TSAN_SLOW_FAILS)'

demo: build
	@scripts/demo $(BUILD)

bench: build
	@echo "benchmarks are in $(BUILD)/bin/bench_*"

PREFIX ?= /usr/local
install: build
	@cmake --install $(BUILD) --prefix $(PREFIX)

package: build
	@cd $(BUILD) && cpack -G DEB > /dev/null && ls package/*.deb

format:
	@clang-format -i $$(git ls-files '*.cpp' '*.h')

clean:
	@rm -rf build build-asan build-fuzz build-tsan out
