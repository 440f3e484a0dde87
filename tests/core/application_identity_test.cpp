#include "core/application_identity.h"

#include <QtTest>

class ApplicationIdentityTest : public QObject
{
    Q_OBJECT

private slots:
    void words();
    void applyReachesTheApplication();
};

void ApplicationIdentityTest::words()
{
    QCOMPARE(Sondrix::applicationName(), QStringLiteral("CorvaneTVSondrix"));
    QCOMPARE(Sondrix::applicationVersion(), QStringLiteral("1.0.0"));
    QCOMPARE(Sondrix::organizationName(), QStringLiteral("Corvane"));
    QCOMPARE(Sondrix::organizationWebHost(), QStringLiteral("www.corvane.example"));
}

void ApplicationIdentityTest::applyReachesTheApplication()
{
    Sondrix::applyApplicationIdentity();
    QCOMPARE(QCoreApplication::organizationName(), QStringLiteral("Corvane"));
    QCOMPARE(QCoreApplication::organizationDomain(), QStringLiteral("www.corvane.example"));
    QCOMPARE(QCoreApplication::applicationName(), QStringLiteral("CorvaneTVSondrix"));
    QCOMPARE(QCoreApplication::applicationVersion(), QStringLiteral("1.0.0"));
}

QTEST_GUILESS_MAIN(ApplicationIdentityTest)
#include "application_identity_test.moc"
