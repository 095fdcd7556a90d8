#include "mainwindow/MainWindowState.h"

namespace marlindex {

void MainWindowState::RestoreConditions(ConditionRecordList records, std::string conditionCode) {
    records_ = std::move(records);
    conditionCode_ = std::move(conditionCode);
}

} // namespace marlindex
