# Subsystem fragment: database (filled in by its owner).
