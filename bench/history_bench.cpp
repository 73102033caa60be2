// Writes a full 32000-line history and prints, as the median of several runs, the time to load it
// (read, cut into rows, check the rewrite), to put it in the list model, and to open the history
// window until the filled list is painted. Also the cost of one append (it syncs to disk).
#include "app/recording/histo_window.h"
#include "app/common/question_window.h"
#include "recording/history.h"
#include "settings/settings_files.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QListView>
#include <QStringListModel>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace tarvek;

namespace {

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2.0;
}

double ms(const QElapsedTimer& t) { return static_cast<double>(t.nsecsElapsed()) / 1e6; }

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 9;

    QTemporaryDir dir;
    SettingsFiles files(dir.path());
    ManualClock clock;
    History history(files, clock);

    // A realistic journal: fault, start and stop lines of varied length.
    {
        QByteArray bytes;
        for (int i = 0; i < History::kMaxLines; ++i) {
            clock.advanceSeconds(37);
            const QString text = i % 3 == 0 ? QStringLiteral("  Start LE %1").arg(i % 6 + 1)
                                 : i % 3 == 1 ? QStringLiteral("Temperature SHT too high  LE%1").arg(i % 6 + 1)
                                              : QStringLiteral("No communication with machine System! LE%1").arg(i % 6 + 1);
            bytes += history.lineFor(QString::number(i % 21), text).toUtf8() + "\r\n";
        }
        QFile f(history.path());
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
            return 1;
        std::printf("history: %d lines, %lld bytes\n", History::kMaxLines, static_cast<long long>(bytes.size()));
    }

    std::vector<double> load, model, window, append;
    QStringListModel listModel;
    for (int r = 0; r < runs; ++r) {
        QElapsedTimer t;
        t.start();
        const HistoryLoad loaded = history.load();
        load.push_back(ms(t));
        if (loaded.lineCount != History::kMaxLines || loaded.rewritten)
            return 2;

        t.restart();
        listModel.setStringList(loaded.entries);
        model.push_back(ms(t));
    }

    QuestionRouter router;
    for (int r = 0; r < runs; ++r) {
        QElapsedTimer t;
        t.start();
        HistoWindow w(history, router);
        w.show();
        auto* list = w.findChild<QListView*>(QStringLiteral("List1"));
        while (list->model()->rowCount() < History::kMaxLines + 3)
            QApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
        w.repaint();
        window.push_back(ms(t));
    }

    {
        QTemporaryDir appendDir;
        SettingsFiles appendFiles(appendDir.path());
        History appendHistory(appendFiles, clock);
        for (int r = 0; r < std::max(runs, 50); ++r) {
            QElapsedTimer t;
            t.start();
            appendHistory.append(QStringLiteral("7"), QStringLiteral("Temperature SHT too high  LE3"));
            append.push_back(ms(t));
        }
    }

    std::printf("load 32000 lines (History::load):        median %.2f ms over %d runs\n", median(load), runs);
    std::printf("fill the list model (setStringList):     median %.2f ms\n", median(model));
    std::printf("load into the list model (both):         median %.2f ms\n", median(load) + median(model));
    std::printf("open the window until the list is shown: median %.2f ms (includes Timer1's %d ms)\n",
                median(window), HistoWindow::kFillDelayMs);
    std::printf("append one line (closed and synced):     median %.3f ms\n", median(append));
    return 0;
}
