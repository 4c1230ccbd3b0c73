# The commands of everyday work. `make help` lists them.
SHELL := /bin/bash
.SHELLFLAGS := -euo pipefail -c
.DEFAULT_GOAL := help
JOBS ?= $(shell nproc)
# What the formatter reads: sources that are not yet added too, and none that is deleted.
SOURCES = $(wildcard $(shell git ls-files -co --exclude-standard '*.cpp' '*.h'))

.PHONY: help
help: ## this list
	@grep -hE '^[a-z-]+:.*## ' $(MAKEFILE_LIST) | sed -E 's/:.*## /\t/' | expand -t 12

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
vm-test: build ## the tests on a real kernel, two emulated machines side by side
	@ctest --preset release -j 2 -L '^vm$$'

.PHONY: vm
vm: build ## the same with every round of pulls and storms; the logs stay in build/vm
	@cmake --install build/release --prefix build/vm/prefix >/dev/null
	@tests/vm/run --prefix build/vm/prefix --work build/vm

.PHONY: web-test
web-test: ## the page's tests in a real browser; STORAGEDEVICES_SCREENSHOTS names a folder for pictures
	@scripts/setup web
	@/usr/bin/python3 -m unittest discover -s tests/web

.PHONY: bench
bench: build ## the benchmarks, each beside its floor or peer
	@cmake --build --preset release --target bench_programs -j $(JOBS)
	@bench/run build/release

.PHONY: coverage
coverage: setup ## line coverage of the runtime and the library
	@scripts/coverage

.PHONY: fuzz
fuzz: setup ## the libFuzzer targets, a minute each
	@scripts/fuzz

.PHONY: format
format: setup ## format all sources
	@clang-format -i $(SOURCES)

.PHONY: lint
lint: setup ## the format, clang's warnings and clang-tidy
	@clang-format --dry-run -Werror $(SOURCES)
	@cmake --preset lint >/dev/null
	@cmake --build --preset lint -j $(JOBS) --target TestHeaders >/dev/null
	@run-clang-tidy -quiet -p build/lint -j $(JOBS) '/(src|tests|bench|fuzz)/.*\.(cpp|cxx)$$' 2>/dev/null

.PHONY: package
package: ## Debian packages in build/packages
	@scripts/setup package
	@scripts/package

.PHONY: package-test
package-test: package ## the packages in a minimal system: install, run, upgrade, purge
	@tests/packages/run build/packages build/package-test

.PHONY: clean
clean: ## remove everything built
	@rm -rf build
