#include "preferences/frmPreferences.h"

#include "startup/EventGuard.h"

#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QStyle>
#include <QTabWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <optional>

namespace marlindex {

namespace {

QString FromUtf8(const std::string& text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

std::string ToUtf8(const QString& text) {
    return text.toUtf8().toStdString();
}

// The character a key press types, as the key filter judges it: Backspace is 8. Keys that
// type nothing (arrows, Delete, Tab, Enter, Escape) and shortcuts (copy, paste, the buttons'
// Alt letters) are no typing and pass; what they let in, OK's rules still check.
std::optional<int> TypedKey(const QKeyEvent& event) {
    if (event.key() == Qt::Key_Backspace) {
        return PreferenceFields::kBackspace;
    }
    if (event.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) {
        return std::nullopt;
    }
    const QList<uint> typed = event.text().toUcs4();
    if (typed.isEmpty() || typed.front() < 0x20 || typed.front() == 0x7F) {
        return std::nullopt;
    }
    return static_cast<int>(typed.front());
}

// Room for "0.0000" in a text field and for "Average" in a list, so that every field of a
// kind is as wide as the others and the frames line up.
constexpr int kTextFieldCharacters = 7;
constexpr int kComboCharacters = 8;

} // namespace

frmPreferences::frmPreferences(CProgramSettings& settings, QWidget* parent)
    : QDialog(parent), state_(settings) {
    setObjectName(QStringLiteral("frmPreferences"));
    setWindowTitle(FromUtf8(state_.Caption()));

    TabStrip1_ = new QTabWidget(this);
    TabStrip1_->setObjectName(QStringLiteral("TabStrip1"));
    for (int index = 0; index < PreferenceFields::kTabCount; ++index) {
        TabStrip1_->addTab(BuildPanel(state_.Panels()[static_cast<std::size_t>(index)], index),
                           FromUtf8(PreferenceFields::TabCaption(index + 1)));
    }

    auto* btnOK = new QPushButton(QStringLiteral("&OK"), this);
    btnOK->setObjectName(QStringLiteral("btnOK"));
    btnOK->setDefault(true);
    auto* btnCancel = new QPushButton(QStringLiteral("&Cancel"), this);
    btnCancel->setObjectName(QStringLiteral("btnCancel"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(btnOK);
    buttons->addWidget(btnCancel);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(TabStrip1_);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    state_.Form_Load();
    Mirror();

    connect(TabStrip1_, &QTabWidget::currentChanged, this, [this](int index) {
        if (!showing_) {
            Handle([this, index] { state_.TabStrip1_Click(index + 1); });
        }
    });
    connect(btnOK, &QPushButton::clicked, this, [this] { btnOK_Click(); });
    connect(btnCancel, &QPushButton::clicked, this, &frmPreferences::reject);
}

QWidget* frmPreferences::BuildPanel(const PreferencePanel& panel, int index) {
    auto* pnl0 = new QWidget;
    pnl0->setObjectName(QStringLiteral("pnl0"));
    pnl0->setProperty("Index", index);
    auto* grid = new QGridLayout(pnl0);
    const int columns = std::max(panel.columns, 1);
    int position = 0;
    std::vector<std::vector<QLabel*>> rowLabels(static_cast<std::size_t>(columns));
    for (const PreferenceFrame& frame : panel.frames) {
        const int column = position % columns;
        grid->addWidget(BuildFrame(frame, rowLabels[static_cast<std::size_t>(column)]),
                        position / columns, column);
        ++position;
    }
    // The row labels of the frames above one another share one width, so that their fields
    // start at the same place.
    for (const std::vector<QLabel*>& labels : rowLabels) {
        int width = 0;
        for (const QLabel* label : labels) {
            width = std::max(width, label->sizeHint().width());
        }
        for (QLabel* label : labels) {
            label->setMinimumWidth(width);
        }
    }
    for (int column = 0; column < columns; ++column) {
        grid->setColumnStretch(column, 1);
    }
    // Frames of one row share its height; what is left over goes below the last row.
    grid->setRowStretch((position + columns - 1) / columns, 1);
    return pnl0;
}

QWidget* frmPreferences::BuildFrame(const PreferenceFrame& frame, std::vector<QLabel*>& rowLabels) {
    auto* box = new QGroupBox(FromUtf8(frame.caption));
    auto* grid = new QGridLayout(box);
    grid->setHorizontalSpacing(8);
    int row = 0;
    if (!frame.columns.empty()) {
        for (std::size_t column = 0; column < frame.columns.size(); ++column) {
            grid->addWidget(new QLabel(FromUtf8(frame.columns[column])), row,
                            static_cast<int>(column) + 1);
        }
        ++row;
    }
    int lastColumn = 0;
    for (const FrameRow& line : frame.rows) {
        rowLabels.push_back(new QLabel(FromUtf8(line.label)));
        grid->addWidget(rowLabels.back(), row, 0);
        int column = 1;
        for (const std::string& name : line.fields) {
            QWidget* field = BuildField(*state_.Find(name));
            grid->addWidget(field, row, column++);
        }
        if (!line.unit.empty()) {
            grid->addWidget(new QLabel(FromUtf8(line.unit)), row, column++);
        }
        lastColumn = std::max(lastColumn, column);
        ++row;
    }
    // Fields keep their width and sit at the top left, however large the frame grows.
    grid->setColumnStretch(lastColumn, 1);
    grid->setRowStretch(row, 1);
    return box;
}

QWidget* frmPreferences::BuildField(const PreferenceField& field) {
    const QString name = FromUtf8(field.name);
    QWidget* widget = nullptr;
    if (field.kind == FieldKind::Combo) {
        auto* combo = new QComboBox;
        combo->setEditable(true);
        combo->setInsertPolicy(QComboBox::NoInsert);
        combo->setMinimumContentsLength(kComboCharacters);
        combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        for (const std::string& item : field.list) {
            combo->addItem(FromUtf8(item));
        }
        connect(combo, &QComboBox::editTextChanged, this, [this, name](const QString& text) {
            if (!showing_) {
                Handle([this, &name, &text] { state_.Field_Change(ToUtf8(name), ToUtf8(text)); },
                       false);
            }
        });
        Watch(combo->lineEdit(), field.name);
        widget = combo;
    } else {
        auto* edit = new QLineEdit;
        edit->setFixedWidth(
            edit->fontMetrics().horizontalAdvance(QString(kTextFieldCharacters, QLatin1Char('0'))) +
            2 * edit->style()->pixelMetric(QStyle::PM_DefaultFrameWidth) + 8);
        connect(edit, &QLineEdit::textChanged, this, [this, name](const QString& text) {
            if (!showing_) {
                Handle([this, &name, &text] { state_.Field_Change(ToUtf8(name), ToUtf8(text)); },
                       false);
            }
        });
        widget = edit;
    }
    widget->setObjectName(name);
    Watch(widget, field.name);
    fields_[field.name] = widget;
    return widget;
}

void frmPreferences::Watch(QObject* widget, const std::string& name) {
    widget->installEventFilter(this);
    watched_[widget] = name;
}

bool frmPreferences::eventFilter(QObject* watched, QEvent* event) {
    const auto it = watched_.find(watched);
    if (it == watched_.end()) {
        return QDialog::eventFilter(watched, event);
    }
    if (event->type() == QEvent::FocusIn) {
        state_.Control_GotFocus(it->second);
    } else if (event->type() == QEvent::KeyPress) {
        if (const auto key = TypedKey(*static_cast<QKeyEvent*>(event))) {
            // The key goes to the widget that has the focus, whatever focus events came first.
            state_.Control_GotFocus(it->second);
            if (state_.Form_KeyPress(*key) == 0) {
                return true;
            }
        }
    }
    return QDialog::eventFilter(watched, event);
}

void frmPreferences::Handle(const std::function<void()>& event, bool mirror) {
    if (const std::optional<std::string> failure = RunGuarded(event)) {
        QMessageBox::warning(this, FromUtf8(state_.Caption()),
                             tr("Could not complete that: %1").arg(FromUtf8(*failure)));
    }
    if (mirror) {
        Mirror();
    }
}

void frmPreferences::btnOK_Click() {
    Handle([this] { state_.btnOK_Click(); });
    if (state_.Closed()) {
        accept();
    }
}

void frmPreferences::reject() {
    state_.btnCancel_Click();
    QDialog::reject();
}

void frmPreferences::Mirror() {
    showing_ = true;
    TabStrip1_->setCurrentIndex(state_.SelectedTab() - 1);
    for (const PreferenceField& field : state_.Fields()) {
        const QString text = FromUtf8(field.text);
        QWidget* widget = fields_.at(field.name);
        if (auto* combo = qobject_cast<QComboBox*>(widget)) {
            if (combo->currentText() != text) {
                combo->setEditText(text);
            }
        } else if (auto* edit = qobject_cast<QLineEdit*>(widget); edit->text() != text) {
            edit->setText(text);
        }
    }
    showing_ = false;
}

} // namespace marlindex
