#include "app/ResultsTableModel.h"

#include "afl/Null.h"

#include <unordered_map>
#include <vector>

namespace marlindex {

ResultsTableModel::ResultsTableModel(QObject* parent) : QAbstractTableModel(parent) {}

void ResultsTableModel::SetTable(std::shared_ptr<ResultsTable> table) {
    beginResetModel();
    table_ = std::move(table);
    endResetModel();
}

void ResultsTableModel::ShowDay(std::optional<TradeDate> date) {
    if (table_ == nullptr) {
        return;
    }
    beginResetModel();
    if (date) {
        table_->ShowDay(*date);
    } else {
        table_->ShowAllDays();
    }
    endResetModel();
}

int ResultsTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || table_ == nullptr ? 0 : static_cast<int>(table_->RowCount());
}

int ResultsTableModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() || table_ == nullptr ? 0 : static_cast<int>(table_->Columns().size());
}

QVariant ResultsTableModel::data(const QModelIndex& index, int role) const {
    if (table_ == nullptr || !index.isValid()) {
        return {};
    }
    const auto row = static_cast<std::size_t>(index.row());
    const auto column = static_cast<std::size_t>(index.column());
    const CellKind kind = table_->Columns()[column].kind;
    switch (role) {
    case Qt::DisplayRole:
        return QString::fromStdString(table_->CellText(row, column));
    case Qt::TextAlignmentRole:
        // Figures line up on their last digit, as in a spreadsheet.
        return kind == CellKind::Number ? QVariant(Qt::AlignRight | Qt::AlignVCenter)
                                        : QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    case Qt::ToolTipRole:
        if (kind == CellKind::Number && afl::IsNull(table_->CellNumber(row, column))) {
            return tr("No value on this bar yet (Null)");
        }
        return {};
    default:
        return {};
    }
}

QVariant ResultsTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (table_ == nullptr || role != Qt::DisplayRole) {
        return {};
    }
    if (orientation == Qt::Vertical) {
        return section + 1;
    }
    return QString::fromStdString(table_->Columns()[static_cast<std::size_t>(section)].title);
}

void ResultsTableModel::sort(int column, Qt::SortOrder order) {
    if (table_ == nullptr || column < 0 || column >= columnCount()) {
        return;
    }
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    // The selection and current cell follow their rows to where the sort puts them.
    const QModelIndexList before = persistentIndexList();
    std::vector<std::size_t> rows;
    rows.reserve(static_cast<std::size_t>(before.size()));
    for (const QModelIndex& index : before) {
        rows.push_back(table_->ResultRowAt(static_cast<std::size_t>(index.row())));
    }
    table_->SortBy(static_cast<std::size_t>(column), order == Qt::DescendingOrder);
    if (!before.isEmpty()) {
        std::unordered_map<std::size_t, int> where;
        for (const std::size_t row : rows) {
            where.emplace(row, -1);
        }
        for (std::size_t shown = 0; shown < table_->RowCount(); ++shown) {
            if (const auto found = where.find(table_->ResultRowAt(shown)); found != where.end()) {
                found->second = static_cast<int>(shown);
            }
        }
        QModelIndexList after;
        for (qsizetype i = 0; i < before.size(); ++i) {
            after.push_back(index(where[rows[static_cast<std::size_t>(i)]], before[i].column()));
        }
        changePersistentIndexList(before, after);
    }
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

} // namespace marlindex
