# Fuzz targets (clang and libFuzzer; only with -DAFP_FUZZ=ON).
# The libraries are defined before this fragment, so their instrumentation
# comes from the build's flags: scripts/fuzz.sh configures the fuzz build with
# clang++ and CMAKE_CXX_FLAGS="-fsanitize=fuzzer-no-link,address,undefined ...".
# Here only the fuzz executables get the fuzzer's own main.
if(AFP_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "AFP_FUZZ needs clang++ (libFuzzer); use scripts/fuzz.sh")
    endif()

    function(afp_fuzz_target name)
        add_executable(${name} fuzz/${name}.cpp)
        target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/fuzz)
        target_link_libraries(${name} PRIVATE ${ARGN})
        target_link_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
    endfunction()

    afp_fuzz_target(fuzzFileLoad afp_parser afp_database)
    target_compile_definitions(fuzzFileLoad PRIVATE AFP_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
    afp_fuzz_target(fuzzUsageDecoder afp_usage afp_driver)
    afp_fuzz_target(fuzzCharacterReferences afp_encoding afp_driver afp_runtime)
    afp_fuzz_target(fuzzCommandLine afp_driver)
    afp_fuzz_target(fuzzConfigurationFile afp_driver)

    add_custom_target(afp_fuzz_targets DEPENDS
        fuzzFileLoad fuzzUsageDecoder fuzzCharacterReferences fuzzCommandLine
        fuzzConfigurationFile)
endif()
