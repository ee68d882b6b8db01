# Set-up, build and test of tavoshaders and its reference host.
#   make demo            install what is missing, build, run the tour (which renders lenses.png),
#                        render gallery.png and utilities.png
#   make test            install what is missing, build, run every test
#   make check-sanitize  every test under AddressSanitizer + UndefinedBehaviorSanitizer
#   make bench           the benchmarks

BUILD      ?= build
SAN_BUILD  ?= build-sanitize
JOBS       ?= $(shell nproc)
PACKAGES   := cmake ninja-build g++ make pkg-config libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev \
              libembree-dev libopenimageio-dev libtbb-dev

.PHONY: all deps build demo test check-sanitize bench clean

all: build

# Installs the Debian packages that are not there yet (needs root, or sudo).
deps:
	@missing=""; \
	for p in $(PACKAGES); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq --no-install-recommends $$missing; \
	fi

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps $(BUILD)/build.ninja
	ninja -C $(BUILD) -j$(JOBS)

demo: build
	@BUILD=$(BUILD) sh examples/tour.sh
	$(BUILD)/bin/tavo render examples/gallery.mi -o gallery.png --samples 4
	$(BUILD)/bin/tavo render examples/utilities.mi -o utilities.png

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j$(JOBS)

check-sanitize: deps
	cmake -S . -B $(SAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTAVO_SANITIZE=ON
	ninja -C $(SAN_BUILD) -j$(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir $(SAN_BUILD) --output-on-failure -j$(JOBS)

bench: build
	@if [ -x $(BUILD)/bin/tavo_bench ]; then $(BUILD)/bin/tavo_bench; else echo "no benchmarks built"; fi

clean:
	rm -rf $(BUILD) $(SAN_BUILD)
