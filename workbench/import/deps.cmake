# The JSON calibration import reads its layouts with nlohmann-json.
find_package(nlohmann_json 3 REQUIRED)
target_link_libraries(mirvo_workbench PRIVATE nlohmann_json::nlohmann_json)
