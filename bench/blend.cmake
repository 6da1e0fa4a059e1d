# The blend benchmark times each instruction-set level too: it links the kernel objects, which
# hold the hidden table of each level.
target_sources(blend_bench PRIVATE $<TARGET_OBJECTS:quelt_levels>)
