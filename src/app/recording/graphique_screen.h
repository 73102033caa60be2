#pragma once
// The window GraphiqueScreen (" View screenshot"): the saved graph pictures of "\Img", newest
// first, and the chosen one scaled to the window. The newest is shown when the window opens.
#include <QDialog>
#include <QPixmap>

class QLabel;
class QListWidget;

namespace tarvek {

class GraphiqueScreen : public QDialog {
    Q_OBJECT
public:
    explicit GraphiqueScreen(QString folder, QWidget* parent = nullptr);
    // Reads the folder again and shows the newest picture.
    void reload();
    QStringList files() const;
    QString shown() const { return shown_; }
    void showFile(const QString& name);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void fit();

    QString folder_;
    QListWidget* list_;
    QLabel* picture_;
    QPixmap pixmap_;
    QString shown_;
};

} // namespace tarvek
