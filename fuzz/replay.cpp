// Feeds every file of the given folders (or the files themselves) to a fuzz target's entry point
// once: the normal test suite's replay of the checked-in corpora, without libFuzzer.
#include "fuzz.h"

#include <QDirIterator>
#include <QFile>
#include <cstdio>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) __attribute__((weak));

int main(int argc, char** argv)
{
    if (LLVMFuzzerInitialize)
        LLVMFuzzerInitialize(&argc, &argv);
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        const QString root = QString::fromLocal8Bit(argv[i]);
        QStringList paths{root};
        if (QFileInfo(root).isDir()) {
            paths.clear();
            QDirIterator it(root, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext())
                paths << it.next();
            paths.sort();
        }
        for (const QString& path : std::as_const(paths)) {
            QFile f(path);
            if (!f.open(QIODevice::ReadOnly)) {
                fprintf(stderr, "cannot read %s\n", qPrintable(path));
                return 1;
            }
            const QByteArray bytes = f.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.constData()), size_t(bytes.size()));
            ++files;
        }
    }
    printf("%d inputs replayed\n", files);
    return files > 0 ? 0 : 1;
}
