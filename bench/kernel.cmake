# The convolution benchmark times each instruction-set level's loop too: it links the level
# objects, which hold the hidden loops.
target_sources(kernel_bench PRIVATE $<TARGET_OBJECTS:quelt_levels>)
