# The commands of the project. Each works alone on a fresh Debian 12 machine and installs what it lacks.
#
#   make demo            build, then hold a conversation with a simulated host     LINK=uart|i2c|spi HOST=simulator|firmware
#   make test            build and run all tests
#   make test-asan       the same under AddressSanitizer and UndefinedBehaviorSanitizer
#   make test-tsan       the same under ThreadSanitizer and UndefinedBehaviorSanitizer, with clang++
#   make test-clang      the same with clang++ and no sanitizer
#   make test-aarch64    the same cross-built for AArch64 Linux, under user emulation
#   make test-kernel     links and rig on a real kernel in an emulated machine   ARCH=amd64|arm64
#   make coverage        how much of src/lib the tests run, under AddressSanitizer; fails below the gate
#   make lint            formatting, written files, rooms, static analysis
#   make protocol        write what follows from protocol/hostlink.toml
#   make docs            the reference as HTML in build/docs
#   make fuzz            every fuzz target for SECONDS=20, from the stored corpus    SEED=
#   make fuzz-merge      keep what the runs have found
#   make bench           times, instructions and allocations beside those of others, into docs/performance.md
#   make bench-counts    instructions and allocations as stored in bench/counts.txt, or it fails    RENEW=1 stores them
#   make soak            all links for long: idle, with traffic, under faults    MINUTES=120 TRUTH_MINUTES= SEED= SCHEDULE_SEEDS= REPORT=
#   make tunnel-noise    MB=10 through a tunnel, each way, while a byte in a hundred is damaged    SEED=
#   make firmware        firmware of all boards, and their sizes into docs/host-firmware.md
#   make install         PREFIX=/usr/local DESTDIR=
#   make clean           removes build/

LINK ?= uart
# Not from the environment: shells keep the name of the machine there.
HOST = simulator
PREFIX ?= /usr/local
DESTDIR ?=
export PREFIX DESTDIR
ARCH ?= amd64
MINUTES ?= 120
MB ?= 10
JOBS ?= $(shell nproc)
# Tests wait more than they compute.
TEST_JOBS ?= $(shell expr 2 \* $(JOBS))
export JOBS TEST_JOBS
SECONDS ?= 20

# What the demo needs; on a bus, the rig that stands for the hardware as well.
DEMO_PROGRAMS = hostlink-demo hostlink-ten-lines $(if $(filter uart,$(LINK)),zent-hostsim,zent-busrig zent-busrig-run)
# In an emulated micro-controller there is a UART and nothing else.
DEMO_HOSTS = simulator $(if $(filter uart,$(LINK)),firmware)

.PHONY: help demo test test-asan test-tsan test-clang test-aarch64 test-kernel coverage lint format protocol docs fuzz fuzz-merge bench bench-counts soak tunnel-noise firmware install clean

# What stands at the top.
help:
	@sed -n '1,/^$$/s/^# \{0,1\}//p' Makefile

demo:
	@case '$(LINK)' in uart | i2c | spi) ;; *) echo "make demo: there is no link '$(LINK)'; LINK is uart, i2c or spi" >&2; exit 2 ;; esac
	@case ' $(DEMO_HOSTS) ' in *' $(HOST) '*) ;; *) echo "make demo: there is no host '$(HOST)' on $(LINK); HOST is simulator, or firmware on uart" >&2; exit 2 ;; esac
	scripts/install-packages.sh build test $(filter firmware,$(HOST))
	$(if $(filter firmware,$(HOST)),scripts/build-firmware.sh)
	scripts/build.sh release $(DEMO_PROGRAMS)
	scripts/demo.sh build/release $(LINK) $(HOST)

test:
	scripts/install-packages.sh build test
	scripts/build.sh release
	scripts/test.sh release

test-asan:
	scripts/install-packages.sh build test
	scripts/build.sh dev
	scripts/test.sh dev --whole

test-tsan:
	scripts/install-packages.sh build test clang
	scripts/build.sh tsan
	scripts/test.sh tsan --whole

test-clang:
	scripts/install-packages.sh build test clang
	scripts/build.sh clang
	scripts/test.sh clang --whole

test-aarch64:
	scripts/install-packages.sh build test aarch64
	scripts/build.sh release
	scripts/build.sh aarch64
	scripts/test-aarch64.sh

test-kernel:
	scripts/test-kernel.sh $(ARCH)

coverage:
	scripts/install-packages.sh build test coverage
	scripts/build.sh coverage
	scripts/coverage.sh

lint:
	scripts/install-packages.sh build test lint
	scripts/lint.sh

format:
	scripts/install-packages.sh lint
	scripts/sources.sh | xargs clang-format -i

protocol:
	scripts/install-packages.sh test
	python3 protocol/generate.py

docs:
	scripts/install-packages.sh docs
	scripts/docs.sh

fuzz:
	scripts/install-packages.sh build test clang
	scripts/build.sh fuzz fuzzers
	scripts/fuzz.sh $(SECONDS)

fuzz-merge:
	scripts/install-packages.sh build test clang
	scripts/build.sh fuzz fuzzers
	scripts/fuzz.sh --merge

bench:
	scripts/install-packages.sh build bench
	scripts/bench.sh

bench-counts:
	scripts/install-packages.sh build counts
	scripts/bench-counts.sh $(if $(RENEW),--renew)

soak:
	scripts/install-packages.sh build test
	scripts/soak.sh $(MINUTES)

tunnel-noise:
	scripts/install-packages.sh build test
	scripts/build.sh release zent-hostsim hostlink-tunnel
	scripts/tunnel-noise.py $(MB)

firmware:
	scripts/install-packages.sh firmware
	scripts/build-firmware.sh
	python3 firmware/sizes.py

install:
	scripts/install-packages.sh build test
	scripts/build.sh release zent_hostLinkClient zent_hostLinkLib zent_hostLinkCore zent_serialComm zent-hostsim zent-hostcheck hostlink hostlink_manual zent_python zent-busrig zent-busrig-run zent-busrig-say
	scripts/install.sh build/release

clean:
	scripts/clean.sh
