add_subdirectory(sim)
