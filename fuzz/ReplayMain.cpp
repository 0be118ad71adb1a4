// Runs a fuzz target over files instead of under libFuzzer: every file named on the
// command line, or every file inside a folder named there. Used by the regression tests.
#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) __attribute__((weak));

int main(int argc, char **argv)
{
    if (LLVMFuzzerInitialize)
        LLVMFuzzerInitialize(&argc, &argv);
    QStringList files;
    for (int i = 1; i < argc; ++i) {
        const QString path = QString::fromLocal8Bit(argv[i]);
        if (QFileInfo(path).isDir()) {
            QDirIterator it(path, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext())
                files << it.next();
        } else {
            files << path;
        }
    }
    files.sort();
    int ran = 0;
    for (const QString &path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
            return 2;
        }
        const QByteArray bytes = file.readAll();
        std::fprintf(stderr, "replay %s (%lld bytes)\n", qPrintable(path), static_cast<long long>(bytes.size()));
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()), size_t(bytes.size()));
        ++ran;
    }
    std::printf("replayed %d inputs\n", ran);
    // An empty corpus would make the test pass without running anything.
    return ran > 0 ? 0 : 3;
}
