#pragma once
// The window MessagesError (" FADEC Error Codes"): codes 00..19, a tab and the code's text, the
// tab stop set so that the texts line up in a second column. Opened from mnuCodeError.
#include <QDialog>
#include <QString>
#include <QStringList>

#include <array>

class QPlainTextEdit;

namespace tarvek {

class MessagesError : public QDialog {
    Q_OBJECT
public:
    static constexpr int kCodesShown = 20; // 00..19

    template <std::size_t N>
    explicit MessagesError(const std::array<QString, N>& texts, QWidget* parent = nullptr)
        : MessagesError(QStringList(texts.begin(), texts.end()), parent) {}
    explicit MessagesError(const QStringList& texts, QWidget* parent = nullptr);

    // "00\tArret LE" .. "19\tLFC level too low".
    static QStringList linesFor(const QStringList& texts);
    QStringList lines() const;

private:
    QPlainTextEdit* list_;
};

} // namespace tarvek
