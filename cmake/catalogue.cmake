# The catalogue of the log's texts.

file(GLOB CATALOGUE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/catalogue/*.cpp)
add_library(catalogue STATIC ${CATALOGUE_SOURCES})
target_include_directories(catalogue PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_options(catalogue PRIVATE ${KELO_WARNINGS})
