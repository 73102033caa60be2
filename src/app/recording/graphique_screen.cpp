#include "app/recording/graphique_screen.h"

#include "station/trend_graphs.h"

#include <QDir>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QResizeEvent>

#include <algorithm>

namespace tarvek {

GraphiqueScreen::GraphiqueScreen(QString folder, QWidget* parent) : QDialog(parent), folder_(std::move(folder))
{
    setObjectName(QStringLiteral("GraphiqueScreen"));
    setWindowTitle(QStringLiteral(" View screenshot"));
    auto* layout = new QHBoxLayout(this);
    list_ = new QListWidget;
    list_->setObjectName(QStringLiteral("File1"));
    list_->setFixedWidth(fontMetrics().horizontalAdvance(QStringLiteral("LE6-00000.bmp")) + 40);
    picture_ = new QLabel;
    picture_->setObjectName(QStringLiteral("Picture1"));
    picture_->setAlignment(Qt::AlignCenter);
    picture_->setMinimumSize(TrendGraphs::kWidth, 120);
    picture_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Ignored);
    layout->addWidget(list_);
    layout->addWidget(picture_, 1);
    connect(list_, &QListWidget::currentTextChanged, this, &GraphiqueScreen::showFile);
    resize(1000, 360);
    reload();
}

void GraphiqueScreen::reload()
{
    // Newest first: by number, which grows with every save whatever the engine.
    QStringList names = QDir(folder_).entryList({QStringLiteral("*.bmp"), QStringLiteral("*.BMP")}, QDir::Files);
    std::stable_sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        return screenshots::numberOf(a) > screenshots::numberOf(b);
    });
    list_->clear();
    list_->addItems(names);
    if (!names.isEmpty())
        list_->setCurrentRow(0);
    else
        showFile(QString());
}

QStringList GraphiqueScreen::files() const
{
    QStringList out;
    for (int i = 0; i < list_->count(); ++i)
        out << list_->item(i)->text();
    return out;
}

void GraphiqueScreen::showFile(const QString& name)
{
    shown_ = name;
    pixmap_ = name.isEmpty() ? QPixmap() : QPixmap(QDir(folder_).filePath(name));
    if (pixmap_.isNull())
        picture_->setText(name.isEmpty() ? QStringLiteral("No screenshot saved yet") : name + QStringLiteral(": cannot be read"));
    fit();
}

void GraphiqueScreen::fit()
{
    if (pixmap_.isNull())
        return;
    picture_->setPixmap(pixmap_.scaled(picture_->size(), Qt::KeepAspectRatio, Qt::FastTransformation));
}

void GraphiqueScreen::resizeEvent(QResizeEvent* event)
{
    QDialog::resizeEvent(event);
    fit();
}

} // namespace tarvek
