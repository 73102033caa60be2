#include "app/service/protocol_trace_window.h"

#include "maintenance/protocol_trace.h"
#include "protocol/engine.h"

#include <QCheckBox>
#include <QDir>
#include <QFileDialog>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSplitter>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace tarvek {

ProtocolTraceWindow::ProtocolTraceWindow(ProtocolTrace& trace, const QString& folder, QWidget* parent)
    : QDialog(parent), trace_(trace), folder_(folder)
{
    setObjectName(QStringLiteral("ProtocolTraceWindow"));
    setWindowTitle(QStringLiteral("Protocol Trace"));
    setModal(false);

    auto* outer = new QVBoxLayout(this);
    auto* top = new QHBoxLayout;
    for (int n = 1; n <= kEngines; ++n) {
        auto* check = new QCheckBox(QStringLiteral("LE%1").arg(n));
        check->setObjectName(QStringLiteral("TraceLE%1").arg(n));
        check->setChecked(trace.engineTraced(n));
        connect(check, &QCheckBox::toggled, this, [&trace, n](bool on) { trace.setEngineTraced(n, on); });
        top->addWidget(check);
    }
    top->addStretch(1);
    pause_ = new QPushButton(QStringLiteral("Pause"));
    pause_->setObjectName(QStringLiteral("TracePause"));
    pause_->setCheckable(true);
    auto* clear = new QPushButton(QStringLiteral("Clear"));
    clear->setObjectName(QStringLiteral("TraceClear"));
    auto* save = new QPushButton(QStringLiteral("Save..."));
    save->setObjectName(QStringLiteral("TraceSave"));
    for (QPushButton* b : {pause_, clear, save}) {
        b->setAutoDefault(false);
        top->addWidget(b);
    }
    outer->addLayout(top);

    view_ = new QTableView;
    view_->setObjectName(QStringLiteral("TraceView"));
    view_->setModel(&trace);
    view_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    view_->setSelectionBehavior(QAbstractItemView::SelectRows);
    view_->setWordWrap(false);
    view_->verticalHeader()->hide();
    // Fixed row heights and column widths: the view never measures thousands of rows.
    view_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view_->verticalHeader()->setDefaultSectionSize(view_->fontMetrics().height() + 4);
    const int ch = view_->fontMetrics().horizontalAdvance(QLatin1Char('0'));
    // Room for the values in the table's fixed font, and never less than the heading's own.
    const QFontMetrics heading = view_->horizontalHeader()->fontMetrics();
    const auto columnWidth = [&](int column, int characters) {
        const QString title = trace.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
        view_->setColumnWidth(column, std::max(ch * characters, heading.horizontalAdvance(title) + 2 * ch));
    };
    columnWidth(ProtocolTrace::Time, 14);
    columnWidth(ProtocolTrace::Engine, 5);
    columnWidth(ProtocolTrace::Direction, 5);
    columnWidth(ProtocolTrace::Turnaround, 11);
    columnWidth(ProtocolTrace::Length, 6);
    columnWidth(ProtocolTrace::Text, 60);
    view_->horizontalHeader()->setStretchLastSection(true);
    view_->setMinimumSize(ch * 130, 240);
    // The selected line whole, text and hex, below the table.
    detail_ = new QPlainTextEdit;
    detail_->setObjectName(QStringLiteral("TraceDetail"));
    detail_->setReadOnly(true);
    detail_->setFont(view_->font());
    detail_->setLineWrapMode(QPlainTextEdit::NoWrap);
    detail_->setPlaceholderText(QStringLiteral("Select a line to see it whole, text and hex"));
    auto* split = new QSplitter(Qt::Vertical);
    split->setObjectName(QStringLiteral("TraceSplit"));
    split->addWidget(view_);
    split->addWidget(detail_);
    detail_->setMinimumHeight(view_->fontMetrics().lineSpacing() * 12);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 1);
    split->setChildrenCollapsible(false);
    outer->addWidget(split, 1);
    connect(view_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) { detail_->setPlainText(trace_.detail(current.row())); });

    count_ = new QLabel;
    count_->setObjectName(QStringLiteral("TraceCount"));
    outer->addWidget(count_);

    connect(pause_, &QPushButton::toggled, this, [this, &trace](bool on) {
        trace.setPaused(on);
        pause_->setText(on ? QStringLiteral("Resume") : QStringLiteral("Pause"));
        showCount();
    });
    connect(clear, &QPushButton::clicked, this, [this, &trace] {
        trace.clear();
        detail_->clear();
        showCount();
    });
    connect(save, &QPushButton::clicked, this, [this] {
        auto* dialog = new QFileDialog(this, QStringLiteral("Save the protocol trace"), folder_,
                                       QStringLiteral("Text files (*.txt)"));
        dialog->setObjectName(QStringLiteral("TraceSaveDialog"));
        dialog->setAcceptMode(QFileDialog::AcceptSave);
        dialog->setDefaultSuffix(QStringLiteral("txt"));
        dialog->selectFile(QStringLiteral("Trace.txt"));
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) { saveTo(path); });
        dialog->open();
    });
    // While paused no batch comes: the count of what is not recorded still moves.
    connect(trace.refreshTimer(), &QTimer::timeout, this, [this] {
        if (trace_.paused())
            showCount();
    });
    connect(&trace, &ProtocolTrace::batchShown, this, [this] {
        QScrollBar* bar = view_->verticalScrollBar();
        const bool following = bar->value() >= bar->maximum() - 2;
        showCount();
        if (following)
            view_->scrollToBottom();
    });
    showCount();
}

bool ProtocolTraceWindow::saveTo(const QString& path)
{
    QString error;
    if (trace_.save(path, &error)) {
        count_->setText(QStringLiteral("Saved to %1").arg(QDir::toNativeSeparators(path)));
        return true;
    }
    auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral(" Warning!"),
                                QStringLiteral("Cannot write %1: %2").arg(QDir::toNativeSeparators(path), error),
                                QMessageBox::Ok, this);
    box->setObjectName(QStringLiteral("MessageWarning"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
    return false;
}

void ProtocolTraceWindow::showCount()
{
    const ProtocolTrace& trace = trace_;
    QString text = QStringLiteral("%1 lines (the last %2 are kept)").arg(trace.rowCount()).arg(ProtocolTrace::kCapacity);
    if (trace.paused())
        text += QStringLiteral(" - paused, %1 not recorded").arg(trace.skippedWhilePaused());
    count_->setText(text);
}

void ProtocolTraceWindow::showEvent(QShowEvent* event)
{
    trace_.setCapturing(true);
    QDialog::showEvent(event);
}

void ProtocolTraceWindow::hideEvent(QHideEvent* event)
{
    trace_.setCapturing(false);
    QDialog::hideEvent(event);
}

} // namespace tarvek
