"""The kinds of tries; each module has `attempt(world)`, which does one try of its kind."""
