# Set-up, build and test of tavoshaders and its reference host.
#   make demo            install what is missing, build, run the tour (which renders lenses.png),
#                        render gallery.png and utilities.png
#   make test            install what is missing, build, run every test
#   make check-sanitize  every test under AddressSanitizer + UndefinedBehaviorSanitizer
#   make check-thread    the tests that run threads, under ThreadSanitizer
#   make fuzz            each fuzzing harness for FUZZ_SECONDS (default 60) under ASan + UBSan
#   make bench           the benchmarks
#   make windows         the Windows x64 build (MinGW-w64) in build-windows/
#   make check-windows   the Windows build's tests, under Wine

BUILD      ?= build
SAN_BUILD  ?= build-sanitize
WIN_BUILD  ?= build-windows
THREAD_BUILD ?= build-thread
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZERS    ?= scene declarations obj values batch
# The tests that run threads (tests/robustness/CMakeLists.txt): evaluations
# from many threads, renders on more than one, and the binding layer's
# simultaneous first calls.
THREAD_TESTS := ^thread\.|^binding\..*Concurrency
JOBS       ?= $(shell nproc)
PACKAGES   := cmake ninja-build g++ make pkg-config libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev \
              libembree-dev libopenimageio-dev libtbb-dev fonts-dejavu-core
WINDOWS_PACKAGES := g++-mingw-w64-x86-64-posix wine64 googletest
FUZZ_PACKAGES := clang libclang-rt-dev

.PHONY: all deps windows-deps fuzz-deps build demo test check-sanitize check-thread fuzz bench windows check-windows clean

all: build

# Installs the Debian packages that are not there yet (needs root, or sudo).
define install_missing
	@missing=""; \
	for p in $(1); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "installing:$$missing"; \
	  SUDO=""; [ "$$(id -u)" = 0 ] || SUDO=sudo; \
	  $$SUDO apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $$SUDO apt-get install -y -qq --no-install-recommends $$missing; \
	fi
endef

deps:
	$(call install_missing,$(PACKAGES))

windows-deps:
	$(call install_missing,$(PACKAGES) $(WINDOWS_PACKAGES))

fuzz-deps:
	$(call install_missing,$(PACKAGES) $(FUZZ_PACKAGES))

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps $(BUILD)/build.ninja
	ninja -C $(BUILD) -j$(JOBS)

demo: build
	@BUILD=$(BUILD) sh examples/tour.sh
	$(BUILD)/bin/tavo render examples/gallery.mi -o gallery.png --samples 32
	$(BUILD)/bin/tavo render examples/utilities.mi -o utilities.png

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j$(JOBS)

# intercept_tls_get_addr=0: the sanitizer runtime of this GCC (and of clang
# before 16) takes a dynamic TLS block of a dlopen'ed module that happens to
# start 16 bytes past a page for an old glibc's header, and the leak check at
# exit then reads an address it made up ("Tracer caught signal 11"): whether
# it strikes depends on the paths the modules are loaded from.
SAN_ASAN_OPTIONS := detect_leaks=1:abort_on_error=1:intercept_tls_get_addr=0

check-sanitize: deps
	cmake -S . -B $(SAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DTAVO_SANITIZE=ON
	ninja -C $(SAN_BUILD) -j$(JOBS)
	ASAN_OPTIONS=$(SAN_ASAN_OPTIONS) UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	  ctest --test-dir $(SAN_BUILD) --output-on-failure -j$(JOBS)

# Embree, oneTBB and OpenImageIO are not instrumented: the suppressions name
# their own frames only.
check-thread: deps
	cmake -S . -B $(THREAD_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVO_THREAD_SANITIZE=ON
	ninja -C $(THREAD_BUILD) -j$(JOBS) tavo_thread_tests binding_tests
	TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 suppressions=$(abspath tests/thread_sanitizer.supp)" \
	  ctest --test-dir $(THREAD_BUILD) --output-on-failure -j$(JOBS) -R '$(THREAD_TESTS)'

# The corpus replays run with every test; this grows it (tests/fuzz/run.sh).
fuzz: fuzz-deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVO_FUZZ=ON
	ninja -C $(FUZZ_BUILD) -j$(JOBS) tavo_fuzzers
	sh tests/fuzz/run.sh $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZERS)

bench: build
	@if [ -x $(BUILD)/bin/tavo_bench ]; then $(BUILD)/bin/tavo_bench; else echo "no benchmarks built"; fi

# Wine keeps its prefix (and its server) inside the build folder.
$(WIN_BUILD)/build.ninja: | windows-deps
	cmake -S . -B $(WIN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DTAVO_LINUX_TOOL=$(abspath $(BUILD))/bin/tavo

windows: windows-deps $(WIN_BUILD)/build.ninja
	ninja -C $(WIN_BUILD) -j$(JOBS)

# The comparison with the Linux tool needs the Linux build too.
check-windows: build windows
	ctest --test-dir $(WIN_BUILD) --output-on-failure; status=$$?; \
	  WINEPREFIX=$(abspath $(WIN_BUILD))/wineprefix /usr/lib/wine/wineserver -k 2>/dev/null; exit $$status

clean:
	rm -rf $(BUILD) $(SAN_BUILD) $(WIN_BUILD) $(THREAD_BUILD) $(FUZZ_BUILD)

# Tests against code (non-blank lines) and test cases per folder.
# make mutants: a seeded sample of mutations of the library's shaders, each
# rebuilt and tested in build-mutants/ (not in CI; about 15 minutes on two cores).
MUTANTS_WORK ?= build-mutants
.PHONY: test-stats mutants
test-stats:
	@python3 tools/test_stats

mutants: deps
	python3 tools/mutants --work $(MUTANTS_WORK) --jobs $(JOBS)
