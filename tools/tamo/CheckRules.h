/*
 * The rules `tamo meta check` applies, one table of them, and what checking
 * a camera against it finds.
 */
#pragma once

#include <string>
#include <vector>

#include <system/camera_metadata.h>

namespace tamo::tool {

enum class Severity { Error, Warning };

struct Finding {
    Severity severity;
    std::string rule;
    std::vector<std::string> keys;
    std::string message;
};

// Every rule that applies to the camera, in table order. `cameraIds`, when
// given, are the cameras there are, for the ids a logical camera names.
std::vector<Finding> checkCharacteristics(const camera_metadata_t* camera,
                                          const std::vector<std::string>* cameraIds = nullptr);

struct RuleText {
    std::string id, severity, appliesTo, statement;
};
std::vector<RuleText> ruleTexts();

} // namespace tamo::tool
