# Front door. `make run` and `make test` are all a newcomer needs.
SANITIZE ?=
ifeq ($(SANITIZE),)
BUILD_DIR ?= build
else
BUILD_DIR ?= build-$(SANITIZE)
endif
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

.PHONY: all deps configure build test run demo bench install clean

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

bench: build
	@bash bench/walk.sh $(BUILD_DIR)
	@bash bench/copy.sh $(BUILD_DIR)
	@bash bench/gui.sh $(BUILD_DIR)

# PREFIX=/usr/local by default; the desktop's menu finds share/applications there.
install: build
	@cmake --install $(BUILD_DIR) $(if $(PREFIX),--prefix $(PREFIX))

clean:
	@rm -rf build build-address build-thread
