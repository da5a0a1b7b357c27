import NimblaSDK.Auth 1.0

AuthManager {}
