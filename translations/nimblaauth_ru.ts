<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU">
<context>
    <name>JwtCodec</name>
    <message>
        <source>{&quot;typ&quot;: &quot;JWT&quot;, &quot;alg&quot; : &quot;</source>
        <extracomment>Part of a token header, not a text for the player: keep it exactly as it is.</extracomment>
        <translation>{&quot;typ&quot;: &quot;JWT&quot;, &quot;alg&quot; : &quot;</translation>
    </message>
    <message>
        <source>&quot;}</source>
        <translation>&quot;}</translation>
    </message>
</context>
<context>
    <name>NimblaSDK::AbstractSession</name>
    <message>
        <source>Session timeout. Please, login again.</source>
        <translation>Время сеанса истекло. Пожалуйста, войдите снова.</translation>
    </message>
</context>
<context>
    <name>NimblaSDK::NimblaLoginOAuthSession</name>
    <message>
        <source>Login or password is incorrect</source>
        <translation>Неверный логин или пароль</translation>
    </message>
    <message>
        <source>Could not log in via the saved account.
 Please use your email and password or log in via a social network.</source>
        <translation>Не удалось войти с сохранённой учётной записью.
 Пожалуйста, введите адрес электронной почты и пароль или войдите через социальную сеть.</translation>
    </message>
    <message>
        <source>Login url is compromised</source>
        <translation>Адрес входа скомпрометирован</translation>
    </message>
</context>
<context>
    <name>NimblaSDK::NimblaLoginSession</name>
    <message>
        <source>Login or password is incorrect</source>
        <translation>Неверный логин или пароль</translation>
    </message>
    <message>
        <source>Could not log in via the saved account.
 Please use your email and password or log in via a social network.</source>
        <translation>Не удалось войти с сохранённой учётной записью.
 Пожалуйста, введите адрес электронной почты и пароль или войдите через социальную сеть.</translation>
    </message>
</context>
<context>
    <name>NimblaSDK::PlayfabLoginSession</name>
    <message>
        <source>Could not log in via the saved account.
 Please use your email and password or log in via a social network.</source>
        <translation>Не удалось войти с сохранённой учётной записью.
 Пожалуйста, введите адрес электронной почты и пароль или войдите через социальную сеть.</translation>
    </message>
</context>
<context>
    <name>NimblaSDK::SocialNetworkOAuthSession</name>
    <message>
        <source>Login url is compromised</source>
        <translation>Адрес входа скомпрометирован</translation>
    </message>
</context>
<context>
    <name>NimblaSDK::SteamOAuthSession</name>
    <message>
        <source>Login url is compromised</source>
        <translation>Адрес входа скомпрометирован</translation>
    </message>
    <message>
        <source>JWT is invalid</source>
        <translation>Недействительный JWT</translation>
    </message>
</context>
<context>
    <name>NimblaSDK::StoneSession</name>
    <message>
        <source>Login failed. Can&apos;t get login information.</source>
        <translation>Не удалось войти. Не удалось получить данные для входа.</translation>
    </message>
    <message>
        <source>Stone launcher is not executed</source>
        <translation>Лаунчер Stone не запущен</translation>
    </message>
</context>
</TS>
