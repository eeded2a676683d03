zam_fuzz(network_fuzz zam_runner)
target_compile_definitions(network_fuzz PRIVATE ZAM_FUZZ_DEFINITIONS="${PROJECT_SOURCE_DIR}/tests/runner/modules")
