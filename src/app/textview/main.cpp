// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/EditorView.h"
#include "app/editor/TextPrinter.h"
#include "base/Utf8.h"
#include "text/highlight/ColorScheme.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFontDatabase>
#include <QPdfWriter>
#include <algorithm>
#include <cstdio>
#include <future>
#include <memory>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

/// Shows a file in the editor's view: the smallest program around it, for measuring and for trying it out. Nothing is
/// ever written.

namespace {

using namespace penmark;

/// A file's bytes in memory of their own.
struct Loaded {
    TextSnapshot text;
    std::string failure;
};

Loaded load(const char* path)
{
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (file < 0 || ::fstat(file, &info) != 0)
        return {{}, std::string(path) + ": cannot be opened"};
    const auto size = static_cast<std::size_t>(info.st_size);
    if (size == 0) {
        ::close(file);
        return {};
    }
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        ::close(file);
        return {{}, std::string(path) + ": does not fit into memory"};
    }
    const std::shared_ptr<const void> owner(memory, [size](void* at) { ::munmap(at, size); });
    ::madvise(memory, size, MADV_HUGEPAGE);
    char* const bytes = static_cast<char*>(memory);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t read = ::read(file, bytes + done, size - done);
        if (read <= 0)
            break;
        done += static_cast<std::size_t>(read);
    }
    ::close(file);
    const std::string_view text(bytes, done);
    if (!isValidUtf8(text))
        return {TextSnapshot(repairUtf8(text)), {}};
    return {TextSnapshot(owner, text), {}};
}

int print(EditorDocument& document, const QString& to, const QString& title, bool lineNumbers)
{
    QPdfWriter writer(to);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF(18, 15, 15, 15), QPageLayout::Millimeter);
    writer.setTitle(title);
    PrintSettings settings;
    settings.font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    settings.font.setPointSizeF(10);
    settings.header = title;
    settings.lineNumbers = lineNumbers;
    if (document.highlights()) {
        while (document.work(1 << 20))  // so that all colours are right
            ;
        settings.tokens = [&](LineNumber line, std::vector<Token>& tokens) { document.tokens(line, tokens); };
    }
    const PrintResult result = printText(writer, document.text(), settings, {}, [](double done) {
        std::fprintf(stderr, "\r%3d %%", static_cast<int>(done * 100));
    });
    std::fprintf(stderr, "\r%zu pages\n", result.pages);
    return result.outcome == PrintResult::Outcome::printed ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    // The file is read while the toolkit starts.
    const char* path = nullptr;
    for (int index = 1; index < argc; ++index) {
        if (std::string_view(argv[index]) == "--pdf")
            ++index;
        else if (argv[index][0] != '-')
            path = argv[index];
    }
    std::future<Loaded> reading;
    if (path)
        reading = std::async(std::launch::async, load, path);

    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("what to show"));
    const QCommandLineOption dark(QStringLiteral("dark"), QStringLiteral("light text on a dark ground"));
    const QCommandLineOption noWrap(QStringLiteral("no-wrap"), QStringLiteral("long lines reach out of the view"));
    const QCommandLineOption highlight(QStringLiteral("highlight"), QStringLiteral("colours for large files too"));
    const QCommandLineOption blanks(QStringLiteral("blanks"), QStringLiteral("show blanks"));
    const QCommandLineOption pdf(QStringLiteral("pdf"), QStringLiteral("prints to a PDF file instead"),
                                 QStringLiteral("OUT"));
    const QCommandLineOption numbers(QStringLiteral("line-numbers"), QStringLiteral("prints line numbers"));

    const QCommandLineOption line(QStringLiteral("line"), QStringLiteral("where the caret is"),
                                  QStringLiteral("NUMBER"));
    parser.addOptions({dark, noWrap, highlight, blanks, line, pdf, numbers});
    parser.process(application);

    EditorDocument document;
    EditorView view(document);
    if (parser.isSet(dark))
        view.setColors(darkColorScheme());
    if (parser.isSet(noWrap))
        view.setWrap(false);
    view.setShowsBlanks(parser.isSet(blanks));
    view.resize(1000, 700);
    view.setWindowTitle(path ? QStringLiteral("%1 - textview").arg(QString::fromLocal8Bit(path))
                             : QStringLiteral("textview"));
    if (path) {
        Loaded loaded = reading.get();
        if (!loaded.failure.empty()) {
            std::fprintf(stderr, "%s\n", loaded.failure.c_str());
            return 1;
        }
        const TextSnapshot text = std::move(loaded.text);
        const TextLine first = text.line(LineNumber(0));
        const Utf8Offset shown = text.characterStart(std::min(first.end, Utf8Offset(1'000)));
        document.load(text, guessLanguage(path, text.text({first.start, shown})));
        if (parser.isSet(highlight))
            document.setAlwaysHighlight(true);
    }
    if (parser.isSet(pdf))
        return print(document, parser.value(pdf), QString::fromLocal8Bit(path ? path : ""), parser.isSet(numbers));
    view.show();
    if (parser.isSet(line)) {
        const LineNumber number(std::max(parser.value(line).toULongLong(), 1ULL) - 1);
        view.setCarets(CaretSet(Caret(view.text().lineStart(number))));
    }
    return QApplication::exec();
}
