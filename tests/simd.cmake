# The level suite links the kernel objects itself to reach each instruction-set level's hidden table.
target_sources(simd_test PRIVATE $<TARGET_OBJECTS:quelt_levels>)
