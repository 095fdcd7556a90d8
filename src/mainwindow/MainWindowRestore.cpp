#include "mainwindow/MainWindowState.h"

namespace marlindex {

void MainWindowState::RestoreConditions(ConditionRecordList records, std::string conditionCode) {
    editor_.RestoreRows(std::move(records), std::move(conditionCode));
}

} // namespace marlindex
