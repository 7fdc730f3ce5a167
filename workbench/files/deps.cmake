# The bounded JSON reader parses with nlohmann::json, which its header hands out.
find_package(nlohmann_json 3 REQUIRED)
target_link_libraries(mirvo_workbench PUBLIC nlohmann_json::nlohmann_json)
