# The face of the build: each target is one thing a developer does. CMake does the work; the
# presets say how each build folder is configured.

SHELL := /bin/bash
JOBS ?= $(shell nproc)
# Most tests wait for a clock more than they work.
TEST_JOBS ?= $(shell echo $$((2 * $(JOBS))))

.DEFAULT_GOAL := help
.PHONY: help deps build demo hosts test bench peers soak format check docs tidy debug asan tsan fuzz install package clean

help: ## Show this list
	@sed -n 's/^\([a-z]*\):.*## \(.*\)/  make \1|\2/p' $(MAKEFILE_LIST) | column -t -s '|'

deps: ## Install the Debian packages that are missing; ThorVG and an RTMP server into build/
	@scripts/install-deps.sh
	@scripts/thorvg.sh
	@scripts/rtmp-server.sh

build: deps ## Build the library, hosts, tests and benchmarks into build/
	cmake --preset release
	cmake --build --preset release -j $(JOBS)

demo: deps ## A show of a minute and what came of it (FILE=clip.mov, FILE2=, SHOW=script.txt)
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target quolsdk show
	SHOW="$(SHOW)" scripts/demo.sh "$(FILE)" "$(FILE2)"

hosts: deps ## Run the small hosts in C of examples/ one after the other (FILE=clip.mov)
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target quolsdk examples
	scripts/hosts.sh $(if $(FILE),"$(FILE)")

test: build ## Build, then run the whole suite
	ctest --preset release -j $(TEST_JOBS)

bench: build ## Run every benchmark (BENCH_ARGS=--benchmark_filter=...)
	@set -e; for program in build/bin/bench_*; do \
	    [ -x "$$program" ] || continue; \
	    echo "== $$program"; "$$program" $(BENCH_ARGS); \
	done

peers: build ## Compare with ffmpeg, GStreamer and melt (PEERS_ARGS=--only=compose)
	bench/peers/run.py --build=build $(PEERS_ARGS)

soak: deps ## Keep everything on air by chance for a minute (SECONDS=3600 SEED=1); see build/soak
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target soak
	@result=0; build/bin/soak --seconds=$(or $(SECONDS),60) --seed=$(or $(SEED),1) \
	    --folder=build/soak || result=$$?; \
	tests/soak/plot.py build/soak || true; exit $$result

format: deps ## Format the sources in place
	scripts/format.sh

check: build ## Run every check of the sources and of the built library
	scripts/checks/format.sh
	scripts/checks/docs.sh build/docs
	ctest --preset release -j $(TEST_JOBS) -L 'check|install'

docs: deps ## Make the reference manual in build/docs/html
	scripts/checks/docs.sh build/docs
	@echo "build/docs/html/index.html"

tidy: build ## Run clang-tidy over the library
	run-clang-tidy -quiet -j $(JOBS) -p build \
	    '$(CURDIR)/(core|sources|outputs|compositing|graphics|platform|api)/'

debug: deps ## Build with assertions into build-debug/ and run the suite
	cmake --preset debug
	cmake --build --preset debug -j $(JOBS)
	ctest --preset debug -j $(TEST_JOBS)

asan: deps ## Run the suite under the address and undefined-behaviour sanitizers
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(TEST_JOBS)

tsan: deps ## Run the suite under the thread sanitizer
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan -j $(TEST_JOBS)

fuzz: deps ## Run every fuzz target for a minute (FUZZ_SECONDS=600)
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	scripts/fuzz.sh $(FUZZ_SECONDS)

install: build ## Install (PREFIX=/usr/local)
	cmake --install build $(if $(PREFIX),--prefix "$(PREFIX)")

package: deps ## Make the Debian packages in build-package/packages
	cmake --preset package
	cmake --build --preset package -j $(JOBS)
	rm -rf build-package/packages
	cpack --preset package
	@ls build-package/packages/*.deb

clean: ## Remove every build folder
	rm -rf build build-debug build-asan build-tsan build-fuzz build-package
