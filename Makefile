# The commands of everyday work. `make help` lists them.
SHELL := /bin/bash
.SHELLFLAGS := -euo pipefail -c
.DEFAULT_GOAL := help
JOBS ?= $(shell nproc)
# On which the tests on a real kernel run: Debian's own, or the newer one of its backports.
KERNEL ?= debian
# What the formatter reads: sources that are not yet added too, and none that is deleted.
SOURCES = $(wildcard $(shell git ls-files -co --exclude-standard '*.cpp' '*.h'))

.PHONY: help
help: ## this list
	@grep -hE '^[a-z0-9-]+:.*## ' $(MAKEFILE_LIST) | sed -E 's/:.*## /\t/' | expand -t 12

.PHONY: setup
setup: ## install what is missing (Debian 12, as root)
	@scripts/setup

.PHONY: build
build: setup ## the release build
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS)

.PHONY: run
run: ## a simulated unit, watched live
	@scripts/setup build
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target storagedevices storagedevices-demo
	@build/release/src/command/storagedevices demo

.PHONY: test
test: setup ## every test but that on a real kernel: release, sanitizers, architecture, format
	@scripts/test

.PHONY: vm-test
vm-test: build ## the tests on a real kernel, two emulated machines side by side; KERNEL=backports: on a newer one
	@[ "$(KERNEL)" = debian ] || scripts/setup $(KERNEL)
	@STORAGEDEVICES_VM_KERNEL=$(KERNEL) ctest --preset release -j 2 -L '^vm$$'

.PHONY: vm
vm: build ## the same with every round of pulls and storms; the logs stay in build/vm
	@cmake --install build/release --prefix build/vm/prefix >/dev/null
	@[ "$(KERNEL)" = debian ] || scripts/setup $(KERNEL)
	@tests/vm/run --prefix build/vm/prefix --work build/vm --kernel $(KERNEL)

.PHONY: storms
storms: build ## plugs, errors, lines and a full root on two real kernels, into docs/figures.md (half an hour)
	@scripts/setup backports
	@cmake --install build/release --prefix build/storms/prefix >/dev/null
	@cmake --build --preset release --target line_storm -j $(JOBS)
	@bench/figures storms tests/vm/storms --prefix build/storms/prefix --work build/storms \
	   --line-storm build/release/tests/vm/line_storm

.PHONY: web-test
web-test: setup ## the page's tests alone; STORAGEDEVICES_SCREENSHOTS names a folder for pictures
	@/usr/bin/python3 -m unittest discover -s tests/web

.PHONY: fleet-programs
fleet-programs:
	@scripts/setup fleet
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target fleet_programs

.PHONY: fleet
fleet: fleet-programs ## many agents under Prometheus and Alertmanager
	@/usr/bin/python3 -m unittest discover -s tests/fleet

.PHONY: fleet-scale
fleet-scale: fleet-programs ## what a thousand units cost a Prometheus, into docs/fleet.md (half an hour)
	@/usr/bin/python3 tests/fleet/measure.py

.PHONY: bench
bench: build ## the benchmarks, each beside its floor or peer
	@cmake --build --preset release --target bench_programs -j $(JOBS)
	@bench/run build/release

.PHONY: footprint
footprint: build ## what the agent costs beside smartd and node_exporter, into docs/figures.md
	@scripts/setup footprint
	@cmake --build --preset release --target footprint_bench -j $(JOBS)
	@bench/figures footprint umockdev-wrapper build/release/bench/footprint_bench build/release/src/agent/agent

.PHONY: growth
growth: build ## how costs grow from 10 disks to 10,000, into docs/figures.md (minutes)
	@cmake --build --preset release --target growth_bench -j $(JOBS)
	@bench/figures growth umockdev-wrapper build/release/bench/growth_bench

.PHONY: endurance
endurance: build ## ten simulated years, and a hundred seeds of a year, beside a model, into docs/figures.md (an hour)
	@bench/figures endurance tests/endurance/years build/release/tests/endurance/endurance

.PHONY: survival
survival: build ## agents killed 500 times, short of means, and under ThreadSanitizer, into docs/figures.md
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan -j $(JOBS) --target storagedevices
	@bench/figures survival tests/survival/run

.PHONY: faults
faults: build ## each system call and allocation of the agent fails once, into docs/figures.md (hours)
	@bench/figures faults umockdev-wrapper build/release/tests/faults/faults --allocations 10000 $(FAULTS)

.PHONY: coverage
coverage: setup ## lines and branches of the runtime and the library that tests take, into docs/figures.md
	@scripts/coverage

.PHONY: fuzz
fuzz: setup ## the libFuzzer targets, a minute each, into docs/figures.md; SECONDS_EACH and RUNS bound each
	@scripts/fuzz

.PHONY: fuzz-long
fuzz-long: ## the same for ten minutes or ten million executions each (two hours)
	@SECONDS_EACH=600 RUNS=10000000 $(MAKE) fuzz

.PHONY: format
format: setup ## format all sources
	@clang-format -i $(SOURCES)

.PHONY: lint
lint: setup ## the format, clang's warnings and clang-tidy
	@clang-format --dry-run -Werror $(SOURCES)
	@cmake --preset lint >/dev/null
	@cmake --build --preset lint -j $(JOBS) --target TestHeaders >/dev/null
	@run-clang-tidy -quiet -p build/lint -j $(JOBS) '/(src|tests|bench|fuzz)/.*\.(cpp|cxx)$$' 2>/dev/null

.PHONY: analyze
analyze: setup ## cppcheck and gcc's static analyser over src, into docs/figures.md (ten minutes)
	@bench/figures static scripts/analyze

.PHONY: arm64-test
arm64-test: ## the tests of single classes as programs for arm64, emulated, into docs/figures.md
	@scripts/setup arm64
	@scripts/machine-test arm64

.PHONY: i386-test
i386-test: ## the same for 32 bits
	@scripts/setup i386
	@scripts/machine-test i386

.PHONY: package
package: ## Debian packages in build/packages
	@scripts/setup package
	@scripts/package

.PHONY: package-test
package-test: package ## the packages: interface, install, run, upgrade, purge, built again
	@tests/packages/interface check build/packages build/package-test
	@tests/packages/run build/packages build/package-test
	@tests/packages/reproducible build/packages build/package-test

.PHONY: interface
interface: package ## record the libraries' binary interface; see CONTRIBUTING.md
	@tests/packages/interface record build/packages build/package-test

.PHONY: boot-test
boot-test: package ## the packages' service under systemd, in an emulated Debian
	@scripts/setup boot
	@tests/vm/boot --packages build/packages --work build/boot-test

.PHONY: clean
clean: ## remove everything built
	@rm -rf build
