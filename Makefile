# Front door. `make run` and `make test` are all a newcomer needs.
SANITIZE ?=
ifeq ($(SANITIZE),)
BUILD_DIR ?= build
else
BUILD_DIR ?= build-$(SANITIZE)
endif
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

.PHONY: all deps configure build test run demo bench clean

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DSANITIZE=$(SANITIZE) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	@cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS) --timeout 300

run: build
	@bash scripts/run.sh $(BUILD_DIR)

demo: build
	@bash scripts/demo.sh $(BUILD_DIR)

# Benchmarks want an optimised build of their own, without the tests.
bench: deps
	@cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DFERRYDECK_BUILD_TESTS=OFF >/dev/null
	@cmake --build build-release -j $(JOBS) --target ferrydeck-cli bench-walk bench-uncache
	@bash bench/run-all.sh build-release

clean:
	@rm -rf build build-address build-thread build-release
