// The results window's table as Qt sees it: a thin model over ResultsTable, which holds the
// rows, their order and the chosen day. The view asks only for the rows on screen, so a
// run of 100,000 rows opens at once, and a header click sorts the table's row numbers, never
// the rows themselves.
#pragma once

#include "results/ResultsTable.h"

#include <QAbstractTableModel>
#include <memory>
#include <optional>

namespace marlindex {

class ResultsTableModel : public QAbstractTableModel {
    Q_OBJECT

public:
    explicit ResultsTableModel(QObject* parent = nullptr);

    // The table to show; none shows an empty table.
    void SetTable(std::shared_ptr<ResultsTable> table);
    ResultsTable* Table() const { return table_.get(); }
    // Shows the rows of one day, or all of them again.
    void ShowDay(std::optional<TradeDate> date);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

private:
    std::shared_ptr<ResultsTable> table_;
};

} // namespace marlindex
