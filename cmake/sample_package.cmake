# The sample installer package: the authoring in packaging/, with the product and the stand-ins of this build.

set(SAMPLE_PACKAGE ${CMAKE_BINARY_DIR}/kelo_toolkit_sample.msi)
set(PACKAGING_FOLDER ${PROJECT_SOURCE_DIR}/packaging)
file(GLOB SAMPLE_STAND_INS CONFIGURE_DEPENDS ${PACKAGING_FOLDER}/sample/stand_ins/*)

add_custom_command(OUTPUT ${SAMPLE_PACKAGE}
    COMMAND ${PACKAGING_FOLDER}/make_package ${SAMPLE_PACKAGE} ${PACKAGING_FOLDER}/sample/kelo_toolkit.wxs
        -D KELO_VERSION=${PROJECT_VERSION} ${CMAKE_BINARY_DIR} ${PACKAGING_FOLDER}/sample
    DEPENDS ${PACKAGING_FOLDER}/make_package ${PACKAGING_FOLDER}/wix_source.py ${PACKAGING_FOLDER}/validation.tsv
        ${PACKAGING_FOLDER}/kelo_custom_action.wxi ${PACKAGING_FOLDER}/sample/kelo_toolkit.wxs ${SAMPLE_STAND_INS}
        kelo_exe kelo_dll kelo_package KeloEventMessages ${KELO_STRING_LIBRARIES}
        CertJobPlanner stkprobe described_program service_program
    VERBATIM)
add_custom_target(sample_package ALL DEPENDS ${SAMPLE_PACKAGE})
add_dependencies(e2e_programs sample_package)
