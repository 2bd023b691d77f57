# Subsystem fragment: parser (filled in by its owner).
