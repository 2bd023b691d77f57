# Subsystem fragment: format (filled in by its owner).
