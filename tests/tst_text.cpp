#include "text.h"

#include <QTest>

// The text helpers as the program's code reads them: positions from 1, searches blind to ASCII case.
// Plain uses of NthField, Mid, Hex and Val are checked through the mail tests, which lean on them.
class TestText : public QObject
{
    Q_OBJECT

private slots:
    void helpers_data()
    {
        QTest::addColumn<QString>("got");
        QTest::addColumn<QString>("want");
        QTest::newRow("InStr ignores case") << Str(InStr("Hello World", "WORLD")) << "7";
        QTest::newRow("InStr absent") << Str(InStr("abc", "x")) << "0";
        QTest::newRow("InStr from start") << Str(InStr(3, "abcabc", "a")) << "4";
        QTest::newRow("NthField past end") << NthField("a,b", ",", 3) << "";
        QTest::newRow("NthField case") << NthField("xBoundary=q", "boundary=", 2) << "q";
        QTest::newRow("InStr long repeating separator")
            << Str(InStr(QString(30, '-') + "x" + QString(20, '-') + "\r\n", QString(20, '-') + "\r\n")) << "32";
        QTest::newRow("NthField long separator ignores case")
            << NthField("aaBOUNDARYxxxxxxxxxxxxxxYbb", "boundaryXXXXXXXXXXXXXXy", 2) << "bb";
        QTest::newRow("CountFields") << Str(CountFields("a,b,,d", ",")) << "4";
        QTest::newRow("CountFields empty") << Str(CountFields("", ",")) << "0";
        QTest::newRow("ReplaceAll case") << ReplaceAll("aXbxc", "x", "-") << "a-b-c";
        QTest::newRow("Trim") << Trim(" \t a b \r\n") << "a b";
        QTest::newRow("LTrim") << LTrim("  a ") << "a ";
        QTest::newRow("Hex of -1") << Hex(-1) << "FFFFFFFF";
        QTest::newRow("Val hex none") << Str(qint64(Val("&hzz"))) << "0";
        QTest::newRow("Mid past end") << Mid("abc", 9, 1) << "";
    }
    void helpers()
    {
        QFETCH(QString, got);
        QFETCH(QString, want);
        QCOMPARE(got, want);
    }
};

QTEST_GUILESS_MAIN(TestText)
#include "tst_text.moc"
