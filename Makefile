# The two commands of the README; everything else is CMake's (see CMakePresets.json).
.PHONY: demo test

demo:
	@scripts/demo

test:
	@scripts/test
