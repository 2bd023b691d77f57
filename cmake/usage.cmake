# Subsystem fragment: usage (filled in by its owner).
