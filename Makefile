# Convenience targets; the scripts do the work.
.PHONY: demo test build asan clean
demo:
	bash scripts/demo.sh
test:
	bash scripts/test.sh
build:
	bash scripts/build.sh release
asan:
	bash scripts/build.sh asan
clean:
	rm -rf build
