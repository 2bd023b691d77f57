# Subsystem fragment: driver (filled in by its owner).
