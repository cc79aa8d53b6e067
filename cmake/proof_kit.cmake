# The proof kit: a zip file with the conformance tests, KeloDescribe, the sample package and what carries them out on a
# real Windows.

file(GLOB PROOF_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/proof/*.cpp)
add_executable(kelo_proof ${PROOF_SOURCES} describe/windows_text.cpp winsim/base/text.cpp)
target_include_directories(kelo_proof PRIVATE ${PROJECT_SOURCE_DIR})
target_include_directories(kelo_proof SYSTEM PRIVATE ${DESCRIBE_HEADERS})
target_compile_definitions(kelo_proof PRIVATE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0502)
target_compile_options(kelo_proof PRIVATE ${KELO_WARNINGS} -Os -ffunction-sections -fdata-sections
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
set_target_properties(kelo_proof PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
target_link_libraries(kelo_proof PRIVATE kelo_tick_count shell32 advapi32)
target_link_options(kelo_proof PRIVATE -static -s -Wl,--gc-sections -Wl,--dynamicbase -Wl,--nxcompat
    -Wl,--high-entropy-va -Wl,--no-insert-timestamp)
set_target_properties(kelo_proof PROPERTIES OUTPUT_NAME KeloProof RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

if(NOT TARGET winsim_conformance)
    return()
endif()
set(PROOF_KIT ${CMAKE_BINARY_DIR}/proof_kit.zip)
set(PROOF_SCRIPTS "")
foreach(folder proof tests/e2e/machines tests/e2e/setup tests/e2e/standins)
    file(GLOB scripts CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.py)
    list(APPEND PROOF_SCRIPTS ${scripts})
endforeach()
add_custom_command(OUTPUT ${PROOF_KIT} ${CMAKE_BINARY_DIR}/kelo_toolkit_failing.msi
    COMMAND ${CMAKE_COMMAND} -E env KELO_WINDOWS_BUILD=${CMAKE_BINARY_DIR}
        ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/proof/make_kit.py
    DEPENDS ${PROOF_SCRIPTS} ${PROJECT_SOURCE_DIR}/proof/prove.cmd ${PROJECT_SOURCE_DIR}/tests/winsim/machine.json
        ${SAMPLE_PACKAGE} kelo_proof kelo_describe winsim_conformance machine_tool described_program service_program
        Internationalization_en
    VERBATIM)
add_custom_target(proof_kit ALL DEPENDS ${PROOF_KIT})
add_dependencies(proof_kit sample_package)
add_dependencies(e2e_programs proof_kit)
