#include "results/frmWhyPanel.h"

#include "startup/EventGuard.h"

#include <QBrush>
#include <QColor>
#include <QCompleter>
#include <QFont>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QStringListModel>
#include <QTableWidget>
#include <QVBoxLayout>
#include <optional>

namespace marlindex {

namespace {

QString FromUtf8(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

enum Column { kJoiner, kCondition, kValue };

// Green for true, red for false, grey where there is no value to judge; orange for a row that
// could not be evaluated, so that it is not read as false.
QColor ValueColour(WhyValue value) {
    switch (value) {
    case WhyValue::True:
        return QColor(0x1b, 0x7f, 0x35);
    case WhyValue::False:
        return QColor(0xc6, 0x28, 0x28);
    case WhyValue::NoValue:
    case WhyValue::Unfinished:
        return QColor(0x75, 0x75, 0x75);
    case WhyValue::Failed:
        break;
    }
    return QColor(0xb3, 0x5c, 0x00);
}

QString ValueText(WhyValue value, const std::string& message) {
    QString text = FromUtf8(WhyValueText(value));
    if (value == WhyValue::Failed && !message.empty()) {
        text += QStringLiteral(": ") + FromUtf8(message);
    }
    return text;
}

// Adds a line and gives its condition cell.
QTableWidgetItem* AddLine(QTableWidget& list, const QString& joiner, const QString& condition,
                          WhyValue value, const std::string& message) {
    const int row = list.rowCount();
    list.insertRow(row);
    const auto cell = [&](int column, const QString& text) {
        auto* item = new QTableWidgetItem(text);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        item->setToolTip(text);
        list.setItem(row, column, item);
        return item;
    };
    cell(kJoiner, joiner);
    QTableWidgetItem* conditionCell = cell(kCondition, condition);
    QTableWidgetItem* valueCell = cell(kValue, ValueText(value, message));
    valueCell->setForeground(QBrush(ValueColour(value)));
    QFont bold = valueCell->font();
    bold.setBold(value == WhyValue::True || value == WhyValue::False);
    valueCell->setFont(bold);
    return conditionCell;
}

} // namespace

frmWhyPanel::frmWhyPanel(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("frmWhyPanel"));

    lblHeading_ = new QLabel(this);
    lblHeading_->setObjectName(QStringLiteral("lblHeading"));
    lblHeading_->setWordWrap(true);
    QFont headingFont = lblHeading_->font();
    headingFont.setBold(true);
    headingFont.setPointSizeF(headingFont.pointSizeF() * 1.15);
    lblHeading_->setFont(headingFont);

    lstWhy_ = new QTableWidget(0, 3, this);
    lstWhy_->setObjectName(QStringLiteral("lstWhy"));
    lstWhy_->setHorizontalHeaderLabels({tr("Joiner"), tr("Condition"), tr("Value")});
    lstWhy_->verticalHeader()->hide();
    lstWhy_->setShowGrid(false);
    lstWhy_->setAlternatingRowColors(true);
    lstWhy_->setSelectionBehavior(QAbstractItemView::SelectRows);
    lstWhy_->setSelectionMode(QAbstractItemView::SingleSelection);
    lstWhy_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    lstWhy_->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    lstWhy_->horizontalHeader()->setSectionResizeMode(kJoiner, QHeaderView::ResizeToContents);
    lstWhy_->horizontalHeader()->setSectionResizeMode(kCondition, QHeaderView::Stretch);
    lstWhy_->horizontalHeader()->setSectionResizeMode(kValue, QHeaderView::ResizeToContents);
    // A condition's words are what the trader reads: wrapped in a narrow panel, never cut, so
    // the rows grow again whenever the condition column changes width.
    lstWhy_->setWordWrap(true);
    lstWhy_->setTextElideMode(Qt::ElideNone);
    rowHeights_ = connect(lstWhy_->horizontalHeader(), &QHeaderView::sectionResized, lstWhy_,
                          [this] { lstWhy_->resizeRowsToContents(); });

    auto* symbolLabel = new QLabel(tr("&Symbol:"), this);
    txtSymbol_ = new QLineEdit(this);
    txtSymbol_->setObjectName(QStringLiteral("txtSymbol"));
    txtSymbol_->setPlaceholderText(tr("any symbol, also one that did not pass"));
    symbolLabel->setBuddy(txtSymbol_);
    symbols_ = new QStringListModel(this);
    auto* completer = new QCompleter(symbols_, this);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    completer->setModelSorting(QCompleter::CaseSensitivelySortedModel);
    txtSymbol_->setCompleter(completer);
    btnExplain_ = new QPushButton(tr("&Explain"), this);
    btnExplain_->setObjectName(QStringLiteral("btnExplain"));

    auto* symbolRow = new QHBoxLayout;
    symbolRow->addWidget(symbolLabel);
    symbolRow->addWidget(txtSymbol_, 1);
    symbolRow->addWidget(btnExplain_);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblHeading_);
    layout->addWidget(lstWhy_, 1);
    layout->addLayout(symbolRow);

    connect(txtSymbol_, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (txtSymbol_->text().toUtf8().toStdString() != state_.txtSymbol()) {
            Handle([&] { state_.txtSymbol_Change(text.toUtf8().toStdString()); });
        }
    });
    // Enter in the box explains as the button does; picking a symbol from the completion with
    // Enter reaches the box too, so one key both picks and explains.
    connect(txtSymbol_, &QLineEdit::returnPressed, this,
            [this] { Handle([&] { state_.btnExplain_Click(); }); });
    connect(btnExplain_, &QPushButton::clicked, this,
            [this] { Handle([&] { state_.btnExplain_Click(); }); });

    Mirror();
}

// The table's rows go while its base classes tear it down, and the header answers with
// resizes that must not reach a half-destroyed table.
frmWhyPanel::~frmWhyPanel() {
    disconnect(rowHeights_);
}

void frmWhyPanel::SetRun(std::shared_ptr<const RunContext> run) {
    Handle([&] { state_.SetRun(std::move(run)); });
    QStringList symbols;
    for (const std::string& symbol : state_.Symbols()) {
        symbols.push_back(FromUtf8(symbol));
    }
    symbols_->setStringList(symbols);
}

void frmWhyPanel::ShowRow(const std::string& symbol, TradeDate date) {
    Handle([&] { state_.ShowRow(symbol, date); });
}

void frmWhyPanel::Handle(const std::function<void()>& event) {
    if (const std::optional<std::string> failure = RunGuarded(event)) {
        QMessageBox::warning(this, tr("Why it passed"),
                             tr("Could not complete that: %1").arg(FromUtf8(*failure)));
    }
    Mirror();
}

void frmWhyPanel::Mirror() {
    lblHeading_->setText(FromUtf8(state_.Heading()));
    const QString symbol = FromUtf8(state_.txtSymbol());
    if (txtSymbol_->text() != symbol) {
        txtSymbol_->setText(symbol);
    }
    btnExplain_->setEnabled(state_.btnExplainEnabled());

    lstWhy_->setRowCount(0);
    const std::optional<WhyReport>& report = state_.Report();
    lstWhy_->horizontalHeaderItem(kValue)->setText(
        report && report->date ? tr("Value on %1").arg(FromUtf8(FormatIsoDate(*report->date)))
                               : tr("Value"));
    if (!report) {
        return;
    }
    for (const WhyLine& line : report->rows) {
        const QString condition = FromUtf8(BracketText(line.leftBrackets, 'L')) +
                                  FromUtf8(line.description) +
                                  FromUtf8(BracketText(line.rightBrackets, 'R'));
        AddLine(*lstWhy_, FromUtf8(line.joiner), condition, line.value, line.message);
    }
    // The verdicts stand apart from the rows: they are what the rows add up to.
    const auto addVerdict = [&](const WhyVerdict& verdict, const QString& condition) {
        QTableWidgetItem* item = AddLine(*lstWhy_, {}, condition, verdict.value, verdict.message);
        QFont font = item->font();
        font.setBold(true);
        item->setFont(font);
    };
    if (report->filter) {
        addVerdict(*report->filter,
                   tr("Filter (markets, groups, sectors, industries, watch lists)"));
    }
    for (const WhyVerdict& verdict : report->formula) {
        addVerdict(verdict, tr("The whole formula: %1").arg(FromUtf8(verdict.name)));
    }
    lstWhy_->resizeRowsToContents();
}

} // namespace marlindex
