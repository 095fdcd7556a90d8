#include "amibroker/LocalBroker.h"

namespace marlindex {

void LocalAnalysis::SayNoEngine(const std::string& what) {
    prompts_->Inform("Marlindex",
                     "The formula has been saved to\n" + formulaPath_ +
                         "\n\nThis database folder has no analysis engine yet, so the " + what +
                         " cannot run here. Open the formula in AmiBroker to run it.");
}

std::string LocalBroker::DatabasePath() {
    return databaseFolder_.string();
}

} // namespace marlindex
