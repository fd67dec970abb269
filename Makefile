# The commands of the README. Everything else is done with CMake (see CMakePresets.json).
.PHONY: demo test package

demo:
	@scripts/demo

test:
	@scripts/test

package:
	@scripts/package
