#pragma once
// The protocol trace window ProtocolTraceWindow (Service > Protocol Trace): every reply and frame
// of the chosen engines, with its time, direction, turnaround, text and hex.
//
// Controls: TraceLE1..TraceLE6 (engines traced), TracePause, TraceClear, TraceSave, TraceView (the
// table), TraceDetail (the selected line whole, text and hex) and TraceCount (rows held, and what a
// pause skipped). The trace captures only while the
// window is open; the view follows the newest row unless the technician scrolled up.
#include <QDialog>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTableView;

namespace tarvek {

class ProtocolTrace;

class ProtocolTraceWindow : public QDialog {
    Q_OBJECT
public:
    // folder: where "Save" starts.
    ProtocolTraceWindow(ProtocolTrace& trace, const QString& folder, QWidget* parent = nullptr);

    // Writes the trace to a file; the save button asks where first.
    bool saveTo(const QString& path);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void showCount();

    ProtocolTrace& trace_;
    QString folder_;
    QTableView* view_ = nullptr;
    QPlainTextEdit* detail_ = nullptr;
    QLabel* count_ = nullptr;
    QPushButton* pause_ = nullptr;
};

} // namespace tarvek
