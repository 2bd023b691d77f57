# Debian packages of the program and the audit-file writer (CPack).
