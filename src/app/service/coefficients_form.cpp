#include "app/service/coefficients_form.h"

#include "app/common/form_buttons.h"
#include "maintenance/coefficients_editor.h"
#include "protocol/engine.h"

#include <QComboBox>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

namespace tarvek {

namespace {
QSpinBox* spin(const QString& name, int min, int max)
{
    auto* s = new QSpinBox;
    s->setObjectName(name);
    s->setRange(min, max);
    s->setAlignment(Qt::AlignRight);
    return s;
}

QLabel* valueLabel(const QString& name)
{
    auto* l = new QLabel;
    l->setObjectName(name);
    l->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    l->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    l->setMinimumWidth(90);
    return l;
}
} // namespace

CoefficientsForm::CoefficientsForm(CoefficientsEditor& editor, const EngineTables& tables, QWidget* parent)
    : QDialog(parent), editor_(editor), tables_(tables)
{
    setObjectName(QStringLiteral("Coefficients"));
    setWindowTitle(QStringLiteral(" LE Data - display coefficients"));
    auto* layout = new QVBoxLayout(this);

    auto* intro = new QLabel(QStringLiteral("Shown value = raw x factor / 10^decimals + offset"));
    layout->addWidget(intro);
    auto* top = new QHBoxLayout;
    top->addWidget(new QLabel(QStringLiteral("Raw values of")));
    engine_ = new QComboBox;
    engine_->setObjectName(QStringLiteral("RawEngine"));
    for (int n = 1; n <= kEngines; ++n)
        engine_->addItem(QStringLiteral("LE%1").arg(n));
    top->addWidget(engine_);
    top->addStretch(1);
    layout->addLayout(top);

    auto* grid = new QGridLayout;
    const QStringList heads = {QString(), QStringLiteral("Offset"), QStringLiteral("Factor"), QStringLiteral("Decimals"),
                               QStringLiteral("Raw"), QStringLiteral("Shown"), QStringLiteral("In use today")};
    for (int c = 0; c < heads.size(); ++c) {
        auto* h = new QLabel(QStringLiteral("<b>%1</b>").arg(heads[c]));
        h->setAlignment(Qt::AlignCenter);
        grid->addWidget(h, 0, c);
    }
    for (int r = 0; r < coefficients::kRows; ++r) {
        Row& row = rows_[static_cast<std::size_t>(r)];
        const QString n = QString::number(r);
        grid->addWidget(new QLabel(coefficients::rowName(r)), r + 1, 0);
        row.offset = spin(QStringLiteral("Offset") + n, -99'999, 99'999);
        row.factor = spin(QStringLiteral("Factor") + n, -99'999, 99'999);
        row.decimals = spin(QStringLiteral("Decimals") + n, 0, coefficients::kMaxDecimals);
        row.raw = spin(QStringLiteral("Raw") + n, -32'768, 32'767);
        row.raw->setToolTip(QStringLiteral("Raw value to preview; taken from the chosen engine's last reply"));
        row.shown = valueLabel(QStringLiteral("Shown") + n);
        row.inUse = valueLabel(QStringLiteral("InUse") + n);
        const std::array<QWidget*, 6> cells{row.offset, row.factor, row.decimals, row.raw, row.shown, row.inUse};
        for (std::size_t c = 0; c < cells.size(); ++c)
            grid->addWidget(cells[c], r + 1, static_cast<int>(c) + 1);
        const auto edit = [this, r](int column, QSpinBox* box) {
            connect(box, &QSpinBox::valueChanged, this,
                    [this, r, column](int v) { editor_.set(r, column, v); });
        };
        edit(coefficients::Offset, row.offset);
        edit(coefficients::Factor, row.factor);
        edit(coefficients::Decimals, row.decimals);
        connect(row.raw, &QSpinBox::valueChanged, this, &CoefficientsForm::refreshPreview);
    }
    layout->addLayout(grid);

    note_ = new QLabel;
    note_->setObjectName(QStringLiteral("NoteCoefficients"));
    note_->setWordWrap(true);
    layout->addWidget(note_);
    result_ = new QLabel;
    result_->setObjectName(QStringLiteral("SaveResult"));
    layout->addWidget(result_);

    auto* buttons = new QHBoxLayout;
    auto* defaults = new QPushButton(QStringLiteral("Defaults"));
    defaults->setObjectName(QStringLiteral("CoefDefaults"));
    buttons->addWidget(defaults);
    layout->addLayout(buttons);
    QPushButton* saveButton = addSaveCloseRow(this, buttons);
    connect(saveButton, &QPushButton::clicked, this, &CoefficientsForm::save);
    connect(defaults, &QPushButton::clicked, this, [this] {
        editor_.restoreDefaults();
        showEdited();
    });
    connect(engine_, &QComboBox::currentIndexChanged, this, &CoefficientsForm::fillRaw);
    connect(&editor_, &CoefficientsEditor::editedChanged, this, &CoefficientsForm::refreshPreview);
    connect(&editor_, &CoefficientsEditor::applied, this, &CoefficientsForm::refreshPreview);
}

void CoefficientsForm::reload()
{
    editor_.reload();
    const int selected = tables_.selectedEngine;
    if (selected >= 1 && selected <= kEngines)
        engine_->setCurrentIndex(selected - 1);
    result_->clear();
    showEdited();
    fillRaw();
}

void CoefficientsForm::showEdited()
{
    const coefficients::Values& v = editor_.edited();
    for (int r = 0; r < coefficients::kRows; ++r) {
        Row& row = rows_[static_cast<std::size_t>(r)];
        const QSignalBlocker b1(row.offset), b2(row.factor), b3(row.decimals);
        row.offset->setValue(coefficients::at(v, r, coefficients::Offset));
        row.factor->setValue(coefficients::at(v, r, coefficients::Factor));
        row.decimals->setValue(coefficients::at(v, r, coefficients::Decimals));
    }
    refreshPreview();
}

void CoefficientsForm::fillRaw()
{
    const LightEngineRecord& r = tables_.at(engine_->currentIndex());
    for (int k = 0; k < coefficients::kRows; ++k) {
        QSpinBox* raw = rows_[static_cast<std::size_t>(k)].raw;
        const QSignalBlocker block(raw);
        raw->setValue(r.everReported ? r.reported[static_cast<std::size_t>(coefficients::replyPosition(k))] : 100);
    }
    refreshPreview();
}

void CoefficientsForm::refreshPreview()
{
    const CoefficientsEditor& editor = editor_;
    const coefficients::Values inUse = editor.inUse();
    for (int k = 0; k < coefficients::kRows; ++k) {
        Row& row = rows_[static_cast<std::size_t>(k)];
        row.shown->setText(editor.preview(row.raw->value(), k));
        row.inUse->setText(coefficients::displayed(row.raw->value(), inUse, k, editor.displayUsesCoefficients()));
        QFont f = row.shown->font();
        f.setBold(coefficients::at(editor.edited(), k, coefficients::Offset) != coefficients::at(inUse, k, coefficients::Offset) ||
                  coefficients::at(editor.edited(), k, coefficients::Factor) != coefficients::at(inUse, k, coefficients::Factor) ||
                  coefficients::at(editor.edited(), k, coefficients::Decimals) != coefficients::at(inUse, k, coefficients::Decimals));
        row.shown->setFont(f);
    }
    note_->setText(editor.displayUsesCoefficients()
                       ? QStringLiteral("The main window shows values with these coefficients once saved.")
                       : QStringLiteral("The main window shows raw values (Software Settings, \"Values with "
                                        "coefficients\" unchecked): saved coefficients apply once it is checked."));
}

void CoefficientsForm::save()
{
    if (editor_.save())
        result_->setText(QStringLiteral("Saved to Coefficients.ini: the main window uses these values."));
    else
        result_->setText(QStringLiteral("Not saved: the file cannot be written."));
}

} // namespace tarvek
