<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU">
<context>
    <name>OtherSignInMethods</name>
    <message>
        <source>There is no such sign-in method.</source>
        <translation>Такого способа входа нет.</translation>
    </message>
</context>
<context>
    <name>SignInMethod</name>
    <message>
        <source>Sign in with the saved token</source>
        <translation>Войти с сохранённым токеном</translation>
    </message>
    <message>
        <source>Login and password</source>
        <translation>Логин и пароль</translation>
    </message>
    <message>
        <source>Login and password over OAuth2</source>
        <translation>Логин и пароль через OAuth2</translation>
    </message>
    <message>
        <source>A social network in the browser</source>
        <translation>Социальная сеть в браузере</translation>
    </message>
    <message>
        <source>the social provider has no login page</source>
        <translation>у социальной сети нет страницы входа</translation>
    </message>
    <message>
        <source>A social network in the browser, over OAuth2</source>
        <translation>Социальная сеть в браузере, через OAuth2</translation>
    </message>
    <message>
        <source>there is no social provider to sign in with</source>
        <translation>нет социальной сети, через которую можно войти</translation>
    </message>
    <message>
        <source>Steam</source>
        <translation>Steam</translation>
    </message>
    <message>
        <source>the game&apos;s Steam application id is not known; give --app-id</source>
        <translation>идентификатор приложения игры в Steam неизвестен; укажите --app-id</translation>
    </message>
    <message>
        <source>Steam, over OAuth2</source>
        <translation>Steam, через OAuth2</translation>
    </message>
    <message>
        <source>PlayFab e-mail and password</source>
        <translation>Адрес электронной почты и пароль PlayFab</translation>
    </message>
    <message>
        <source>The Mail.Ru game centre</source>
        <translation>Игровой центр Mail.Ru</translation>
    </message>
    <message>
        <source>the game centre&apos;s user id and ticket are not known; give --uid and --ticket</source>
        <translation>идентификатор пользователя и билет игрового центра неизвестны; укажите --uid и --ticket</translation>
    </message>
    <message>
        <source>The Stone launcher</source>
        <translation>Лаунчер Stone</translation>
    </message>
    <message>
        <source>the game&apos;s id at the Stone launcher is not known; give --app-id</source>
        <translation>идентификатор игры в лаунчере Stone неизвестен; укажите --app-id</translation>
    </message>
    <message>
        <source>Steam, through PlayFab</source>
        <translation>Steam, через PlayFab</translation>
    </message>
    <message>
        <source>The remembered session</source>
        <translation>Запомненный сеанс</translation>
    </message>
    <message>
        <source>there is no remembered session; sign in with --remember first</source>
        <translation>запомненного сеанса нет; сначала войдите с --remember</translation>
    </message>
    <message>
        <source>The one-time password left for the launcher</source>
        <translation>Одноразовый пароль, оставленный для лаунчера</translation>
    </message>
    <message>
        <source>no one-time password was left for the launcher</source>
        <translation>для лаунчера не оставлено одноразового пароля</translation>
    </message>
</context>
<context>
    <name>SignInPage</name>
    <message>
        <source>Sign in</source>
        <translation>Войти</translation>
    </message>
    <message>
        <source>Email</source>
        <translation>Электронная почта</translation>
    </message>
    <message>
        <source>Password</source>
        <translation>Пароль</translation>
    </message>
    <message>
        <source>Remember me</source>
        <translation>Запомнить меня</translation>
    </message>
    <message>
        <source>Please confirm that you are not a robot: sign in once on the website, then try again.</source>
        <translation>Пожалуйста, подтвердите, что вы не робот: войдите один раз на сайте, затем попробуйте снова.</translation>
    </message>
    <message>
        <source>Please accept the privacy policy in your browser, then sign in again. &lt;a href=&quot;%1&quot;&gt;Open it again&lt;/a&gt;</source>
        <translation>Пожалуйста, примите политику конфиденциальности в браузере, затем войдите снова. &lt;a href=&quot;%1&quot;&gt;Открыть её ещё раз&lt;/a&gt;</translation>
    </message>
    <message>
        <source>Your account has no e-mail address yet. Please enter one to finish signing in.</source>
        <translation>У вашей учётной записи ещё нет адреса электронной почты. Пожалуйста, введите его, чтобы завершить вход.</translation>
    </message>
    <message>
        <source>Send</source>
        <translation>Отправить</translation>
    </message>
    <message>
        <source>Or sign in with</source>
        <translation>Или войдите через</translation>
    </message>
</context>
<context>
    <name>SignedInPage</name>
    <message>
        <source>Signed in</source>
        <translation>Вход выполнен</translation>
    </message>
    <message>
        <source>Login</source>
        <translation>Логин</translation>
    </message>
    <message>
        <source>User name</source>
        <translation>Имя пользователя</translation>
    </message>
    <message>
        <source>User id</source>
        <translation>Идентификатор пользователя</translation>
    </message>
    <message>
        <source>Merchant id</source>
        <translation>Идентификатор продавца</translation>
    </message>
    <message>
        <source>Log out</source>
        <translation>Выйти</translation>
    </message>
</context>
<context>
    <name>main</name>
    <message>
        <source>Nimbla Launcher</source>
        <translation>Лаунчер Nimbla</translation>
    </message>
    <message>
        <source>The service did not answer. Please try again.</source>
        <translation>Сервис не ответил. Пожалуйста, попробуйте снова.</translation>
    </message>
    <message>
        <source>The service did not accept the sign-in.</source>
        <translation>Сервис не принял вход.</translation>
    </message>
    <message>
        <source>The e-mail address was not accepted.</source>
        <translation>Адрес электронной почты не принят.</translation>
    </message>
    <message>
        <source>The one-time password was not accepted.</source>
        <translation>Одноразовый пароль не принят.</translation>
    </message>
</context>
</TS>
