#include "app/service/fadec_parameters.h"

#include "app/common/colours.h"
#include "maintenance/parameter_editor.h"
#include "protocol/engine.h"
#include "setpoints/value_entry.h"

#include <QComboBox>
#include <QEvent>
#include <QFontDatabase>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace tarvek {

namespace {
constexpr int kRowsPerColumn = 16;
} // namespace

FadecParameters::FadecParameters(ParameterEditor& editor, ValueEntry& entry, const EngineTables& tables,
                                 std::function<void()> showEntry, QWidget* parent)
    : QDialog(parent), editor_(editor), entry_(entry), tables_(tables), showEntry_(std::move(showEntry))
{
    setObjectName(QStringLiteral("FadecParameters"));
    setWindowTitle(QStringLiteral("FADEC Parameters"));
    setModal(false);

    auto* outer = new QVBoxLayout(this);
    selected_ = new QLabel;
    selected_->setObjectName(QStringLiteral("LabelSelected"));
    QFont bold = selected_->font();
    bold.setBold(true);
    selected_->setFont(bold);
    auto* top = new QHBoxLayout;
    top->addWidget(selected_);
    top->addStretch(1);
    top->addWidget(new QLabel(QStringLiteral("Compare a read with")));
    compareWith_ = new QComboBox;
    compareWith_->setObjectName(QStringLiteral("CompareWith"));
    compareWith_->addItems({QStringLiteral("ParamSt.ini"), QStringLiteral("Defaults")});
    compareWith_->setToolTip(QStringLiteral("Values that differ after a read are marked \u2260"));
    top->addWidget(compareWith_);
    outer->addLayout(top);
    // Where the values come from: a form never read says so before anything else.
    source_ = new QLabel;
    source_->setObjectName(QStringLiteral("LabelSource"));
    source_->setFont(bold);
    source_->setWordWrap(true);
    source_->setMargin(4);
    outer->addWidget(source_);

    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(2);
    for (int r = 0; r < ParameterEditor::kRegisters; ++r) {
        const int row = r % kRowsPerColumn;
        const int col = (r / kRowsPerColumn) * 4;
        auto* number = new QLabel(QStringLiteral("%1").arg(r, 2, 10, QLatin1Char('0')));
        number->setEnabled(false);
        auto* label = new QLabel(ParameterEditor::labels()[static_cast<std::size_t>(r)]);
        label->setObjectName(QStringLiteral("Label%1").arg(r));
        label->setFont(fixed);
        auto* box = new QLineEdit;
        box->setObjectName(QStringLiteral("Text%1").arg(r + ParameterEditor::kFirstBox));
        box->setReadOnly(true);
        box->setAlignment(Qt::AlignRight);
        box->setFixedWidth(52);
        box->setCursor(Qt::PointingHandCursor);
        box->installEventFilter(this);
        auto* mark = new QLabel;
        mark->setObjectName(QStringLiteral("Mark%1").arg(r + ParameterEditor::kFirstBox));
        mark->setFixedWidth(14);
        mark->setFont(bold);
        boxes_[static_cast<std::size_t>(r)] = box;
        marks_[static_cast<std::size_t>(r)] = mark;
        grid->addWidget(number, row, col);
        grid->addWidget(label, row, col + 1);
        grid->addWidget(box, row, col + 2);
        grid->addWidget(mark, row, col + 3);
    }
    grid->setColumnMinimumWidth(4, 24);
    outer->addLayout(grid);

    outcome_ = new QLabel;
    outcome_->setObjectName(QStringLiteral("LabelOutcome"));
    outcome_->setWordWrap(true);
    outcome_->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    outcome_->setMinimumHeight(outcome_->fontMetrics().height() * 2 + 6);
    outer->addWidget(outcome_);

    auto* buttons = new QHBoxLayout;
    const auto button = [&](const char* name, const QString& caption, const QString& tip, auto action) {
        auto* b = new QPushButton(caption);
        b->setObjectName(QString::fromLatin1(name));
        b->setToolTip(tip);
        b->setAutoDefault(false);
        connect(b, &QPushButton::clicked, this, action);
        buttons->addWidget(b);
        return b;
    };
    button("ReadConfig", QStringLiteral("Read FADEC"), QStringLiteral("Read the registers of the selected LE"),
           [&editor] { editor.readConfig(); });
    button("WriteConfig", QStringLiteral("Write FADEC"),
           QStringLiteral("Write registers 1 to 31 to the selected LE, then read them back"),
           [&editor] { editor.writeConfig(); });
    buttons->addSpacing(12);
    button("WriteConfHdd", QStringLiteral("Save File"), QStringLiteral("Save the values to ParamSt.ini"),
           [&editor] { editor.writeConfHdd(); });
    button("ReadParamHdd", QStringLiteral("Load File"), QStringLiteral("Load the values from ParamSt.ini"),
           [&editor] { editor.readParamHdd(); });
    buttons->addSpacing(12);
    button("ParamDefault", QStringLiteral("Default"), QStringLiteral("The factory defaults"),
           [&editor] { editor.paramDefault(); });
    button("ParamZero", QStringLiteral("Zero"), QStringLiteral("Every value 0"), [&editor] { editor.paramZero(); });
    buttons->addStretch(1);
    button("CDMQuitter", QStringLiteral("Quit"), QString(), [this] { reject(); });
    outer->addLayout(buttons);

    connect(compareWith_, &QComboBox::currentIndexChanged, this, [&editor](int i) {
        editor.setReference(i == 1 ? ParameterEditor::Reference::Defaults : ParameterEditor::Reference::SavedFile);
    });
    compareWith_->setCurrentIndex(editor.reference() == ParameterEditor::Reference::Defaults ? 1 : 0);
    connect(&editor, &ParameterEditor::valuesChanged, this, &FadecParameters::showValues);
    connect(&editor, &ParameterEditor::marksChanged, this, &FadecParameters::showMarks);
    connect(&editor, &ParameterEditor::outcomeChanged, outcome_, &QLabel::setText);
    connect(&editor, &ParameterEditor::sourceChanged, this, &FadecParameters::showSource);
    showValues();
    showMarks();
    showSelected();
    showSource();
    outcome_->setText(editor.outcome());
}

void FadecParameters::showSelected()
{
    const int engine = tables_.selectedEngine;
    selected_->setText(parameter_texts::selected(engine) +
                       (engine < 1 || engine > kEngines ? QStringLiteral("  (choose an LE on the main window)") : QString()));
}

void FadecParameters::showSource()
{
    source_->setText(editor_.sourceText());
    // Values nobody chose for the selected engine ask for a look, in words and with a frame.
    colours::attention(source_, editor_.sourceChosen() ? QColor() : colours::fault());
}

void FadecParameters::showValues()
{
    const ParameterEditor& editor = editor_;
    for (int r = 0; r < ParameterEditor::kRegisters; ++r)
        boxes_[static_cast<std::size_t>(r)]->setText(editor.value(r));
}

void FadecParameters::showMarks()
{
    const ParameterEditor& editor = editor_;
    for (int r = 0; r < ParameterEditor::kRegisters; ++r) {
        const QString why = editor.mark(r);
        QLineEdit* box = boxes_[static_cast<std::size_t>(r)];
        marks_[static_cast<std::size_t>(r)]->setText(why.isEmpty() ? QString() : QStringLiteral("\u2260"));
        marks_[static_cast<std::size_t>(r)]->setToolTip(why);
        box->setToolTip(why.isEmpty() ? QStringLiteral("Click to change register %1").arg(r) : why);
        box->setStyleSheet(why.isEmpty() ? QString() : QStringLiteral("QLineEdit { background: #ffe0a0; font-weight: bold; }"));
    }
}

void FadecParameters::edit(int reg)
{
    ParameterEditor& editor = editor_;
    const QString caption = ParameterEditor::labels()[static_cast<std::size_t>(reg)].trimmed();
    EntryRequest request;
    request.hint = caption.isEmpty() ? QStringLiteral("Register %1").arg(reg)
                                     : QStringLiteral("Register %1: %2").arg(reg).arg(caption);
    request.minimum = QStringLiteral("0");
    request.maximum = QStringLiteral("255");
    request.numericLimits = true; // as texts, "99" would sort above "255"
    request.onAccepted = [&editor, reg](const QString& text) { editor.setValue(reg, QString::number(text.toInt())); };
    if (showEntry_)
        showEntry_();
    entry_.open(std::move(request));
}

bool FadecParameters::eventFilter(QObject* watched, QEvent* event)
{
    for (int r = 0; r < ParameterEditor::kRegisters; ++r) {
        if (watched != boxes_[static_cast<std::size_t>(r)])
            continue;
        if (event->type() == QEvent::MouseButtonRelease) {
            edit(r);
            return true;
        }
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent*>(event)->key();
            if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_F2) {
                edit(r);
                return true;
            }
        }
        break;
    }
    return QDialog::eventFilter(watched, event);
}

void FadecParameters::reject()
{
    editor_.quit();
    QDialog::reject();
}

} // namespace tarvek
