# The level test links the kernel objects itself, so that it reaches the hidden table of each
# instruction-set level.
target_sources(simd_test PRIVATE $<TARGET_OBJECTS:quelt_levels>)
