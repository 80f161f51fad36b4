"""The driver of the conformance kit. `conformance/run` is its command line."""
