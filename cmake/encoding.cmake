# Subsystem fragment: encoding (filled in by its owner).
