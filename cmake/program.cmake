# Subsystem fragment: program (filled in by its owner).
