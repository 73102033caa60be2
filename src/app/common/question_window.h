#pragma once
// The shared yes/no question window `FenQuestion` and the router that carries its answers.
//
// A feature registers what "Yes" (and optionally "No") does for one exact question text, then asks
// that text through the router; the window shows it and routes the answer back by the text.
//
// Controls: the window "FenQuestion" (caption = the asker's caption), the question text
// "TextQuestion", the buttons "OuiQuestion" (Yes) and "NonQuestion" (No). Closing the window or
// pressing Escape answers No.
#include <QDialog>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

class QLabel;
class QPushButton;

namespace tarvek {

// The questions whose answers are routed by their text.
namespace questions {
inline const QString kDeleteHistory = QStringLiteral("Are you sure you want to delete the entire file");
inline const QString kPrintHistory = QStringLiteral("Are you sure you want to print the list");
inline const QString kStartAll = QStringLiteral("START All LE");
inline const QString kStopAll = QStringLiteral("STOP All LE");
} // namespace questions

class QuestionRouter : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<void()>;

    explicit QuestionRouter(QObject* parent = nullptr);

    // What Yes and No do for one question text; replaces an earlier registration of that text.
    // The registration lapses when `context` is destroyed (nullptr: it lasts until removed).
    void setHandler(const QString& question, QObject* context, Handler onYes, Handler onNo = {});
    void removeHandler(const QString& question);
    bool hasHandler(const QString& question) const;

    // Puts a question to the operator through the question window (asked()).
    void ask(const QString& caption, const QString& question);

    // Runs the handler registered for the text; false when none took the answer.
    bool answer(const QString& question, bool yes);

signals:
    void asked(const QString& caption, const QString& question);
    void answered(const QString& question, bool yes);

private:
    struct Route {
        QPointer<QObject> context;
        bool bound = false; // a context was given, so a null pointer means it is gone
        Handler yes;
        Handler no;
    };
    QHash<QString, Route> routes_;
};

class FenQuestion : public QDialog {
    Q_OBJECT
public:
    explicit FenQuestion(QuestionRouter& router, QWidget* parent = nullptr);

    QuestionRouter& router() { return router_; }
    // Same as router().ask(): shows the question now, or after the one being answered.
    void ask(const QString& caption, const QString& question);

    // The question on screen (empty when none) and how many wait behind it.
    QString question() const { return current_; }
    qsizetype waiting() const { return pending_.size(); }

private:
    void enqueue(const QString& caption, const QString& question);
    void showNext();
    void onFinished(int result);

    QuestionRouter& router_;
    QLabel* text_;
    QPushButton* yes_;
    QPushButton* no_;
    QString current_;
    QList<std::pair<QString, QString>> pending_; // caption, question
};

} // namespace tarvek
