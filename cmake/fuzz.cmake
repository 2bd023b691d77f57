# Fuzz targets (clang and libFuzzer; only with -DAFP_FUZZ=ON).
