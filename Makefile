# Front door. `make run` and `make test` are all a newcomer needs.
SANITIZE ?=
ifeq ($(SANITIZE),)
BUILD_DIR ?= build
else
BUILD_DIR ?= build-$(SANITIZE)
endif
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 600
FUZZ_SMOKE_SECONDS ?= 25

.PHONY: all deps configure build test test-sanitizers fuzz fuzz-smoke format format-check run demo bench install clean

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DSANITIZE=$(SANITIZE) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	@cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS) --timeout 300

# The whole suite again under address+undefined, then under thread.
test-sanitizers: deps
	@$(MAKE) --no-print-directory test SANITIZE=address BUILD_DIR=build-address
	@$(MAKE) --no-print-directory test SANITIZE=thread BUILD_DIR=build-thread

# Every fuzz target for FUZZ_SECONDS each (fuzz/README.md); fuzz-smoke is CI's short run.
fuzz: deps
	@JOBS=$(JOBS) bash scripts/fuzz.sh $(FUZZ_SECONDS)

fuzz-smoke: deps
	@JOBS=$(JOBS) bash scripts/fuzz.sh $(FUZZ_SMOKE_SECONDS)

# Every C++ source in the layout of .clang-format; CI fails on any drift.
FORMAT_FILES = $(shell find src tests bench fuzz -name '*.cpp' -o -name '*.h')
format:
	@clang-format -i $(FORMAT_FILES)

format-check: deps
	@clang-format --dry-run --Werror $(FORMAT_FILES)

run: build
	@bash scripts/run.sh $(BUILD_DIR)

demo: build
	@bash scripts/demo.sh $(BUILD_DIR)

# Benchmarks want an optimised build of their own, without the tests.
bench: deps
	@cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DFERRYDECK_BUILD_TESTS=OFF >/dev/null
	@cmake --build build-release -j $(JOBS) --target ferrydeck-cli bench-walk bench-uncache bench-gui-block
	@bash bench/run-all.sh build-release
	@bash bench/gui.sh build-release
	@bash bench/slow-card.sh build-release
	@bash bench/resume.sh build-release

# PREFIX=/usr/local by default; the desktop's menu finds share/applications there.
install: build
	@cmake --install $(BUILD_DIR) $(if $(PREFIX),--prefix $(PREFIX))

clean:
	@rm -rf build build-address build-thread build-fuzz build-release
