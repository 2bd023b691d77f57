# Subsystem fragment: rowaccess (filled in by its owner).
