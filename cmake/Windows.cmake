# The product itself.
add_executable(Vantord service/main.cpp)
target_link_libraries(Vantord PRIVATE vantord_service advapi32 cfgmgr32 setupapi ole32 version)
target_link_options(Vantord PRIVATE -municode -static)
