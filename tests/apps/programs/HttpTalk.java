import com.sun.net.httpserver.HttpServer;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.net.DatagramPacket;
import java.net.DatagramSocket;
import java.net.InetAddress;
import java.net.InetSocketAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.net.SocketTimeoutException;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.nio.ByteBuffer;
import java.nio.channels.SocketChannel;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.Executors;

/** Serves and fetches in one process; prints a line for each check: its name, a tab, and how it went. */
public class HttpTalk {
    interface Check {
        boolean holds() throws Exception;
    }

    static final int REQUESTS = 200;
    static final InetAddress HERE = InetAddress.getLoopbackAddress();

    static void check(String name, Check check) {
        String outcome;
        try {
            outcome = check.holds() ? "ok" : "does not hold";
        } catch (Exception exception) {
            outcome = exception.toString().replace('\n', ' ');
        }
        System.out.println(name + "\t" + outcome);
    }

    public static void main(String[] arguments) throws Exception {
        byte[] large = new byte[3 << 20];
        for (int i = 0; i < large.length; ++i) large[i] = (byte) (i * 31);
        HttpServer server = HttpServer.create(new InetSocketAddress(HERE, 0), 300);
        server.setExecutor(Executors.newFixedThreadPool(8));
        server.createContext("/echo", exchange -> {
            byte[] body = exchange.getRequestBody().readAllBytes();
            exchange.sendResponseHeaders(200, body.length == 0 ? -1 : body.length);
            exchange.getResponseBody().write(body);
            exchange.close();
        });
        server.createContext("/large", exchange -> {
            exchange.sendResponseHeaders(200, large.length);
            exchange.getResponseBody().write(large);
            exchange.close();
        });
        server.start();
        String root = "http://127.0.0.1:" + server.getAddress().getPort();
        HttpClient client = HttpClient.newBuilder().version(HttpClient.Version.HTTP_1_1).build();

        check("requests at once", () -> requestsAtOnce(client, root));
        check("a large answer", () -> Arrays.equals(large, client.send(
            HttpRequest.newBuilder(URI.create(root + "/large")).build(),
            HttpResponse.BodyHandlers.ofByteArray()).body()));
        check("a large request", () -> Arrays.equals(large, client.send(
            HttpRequest.newBuilder(URI.create(root + "/echo"))
                .POST(HttpRequest.BodyPublishers.ofByteArray(large)).build(),
            HttpResponse.BodyHandlers.ofByteArray()).body()));
        check("a missing page", () -> client.send(
            HttpRequest.newBuilder(URI.create(root + "/missing")).build(),
            HttpResponse.BodyHandlers.ofString()).statusCode() == 404);
        server.stop(0);
        check("blocking sockets", HttpTalk::blockingSockets);
        check("a time-out", HttpTalk::timeOut);
        check("a channel", HttpTalk::channel);
        check("datagrams", HttpTalk::datagrams);
        check("a refused connection", HttpTalk::refused);
        System.exit(0);
    }

    static boolean requestsAtOnce(HttpClient client, String root) {
        List<CompletableFuture<String>> answers = new ArrayList<>();
        for (int i = 0; i < REQUESTS; ++i) {
            answers.add(client.sendAsync(HttpRequest.newBuilder(URI.create(root + "/echo"))
                .POST(HttpRequest.BodyPublishers.ofString("request " + i)).build(),
                HttpResponse.BodyHandlers.ofString()).thenApply(HttpResponse::body));
        }
        boolean right = true;
        for (int i = 0; i < REQUESTS; ++i) right &= answers.get(i).join().equals("request " + i);
        return right;
    }

    static Thread answering(ServerSocket listener) {
        Thread thread = new Thread(() -> {
            try (Socket accepted = listener.accept()) {
                DataInputStream in = new DataInputStream(accepted.getInputStream());
                DataOutputStream out = new DataOutputStream(accepted.getOutputStream());
                for (int turn = 0; turn < 100; ++turn) out.writeUTF(in.readUTF().toUpperCase());
            } catch (Exception exception) {
                System.err.println(exception);
            }
        });
        thread.start();
        return thread;
    }

    static boolean blockingSockets() throws Exception {
        try (ServerSocket listener = new ServerSocket(0, 5, HERE)) {
            Thread thread = answering(listener);
            boolean right = true;
            try (Socket socket = new Socket(HERE, listener.getLocalPort())) {
                DataInputStream in = new DataInputStream(socket.getInputStream());
                DataOutputStream out = new DataOutputStream(socket.getOutputStream());
                for (int turn = 0; turn < 100; ++turn) {
                    out.writeUTF("turn " + turn);
                    right &= in.readUTF().equals("TURN " + turn);
                }
            }
            thread.join();
            return right;
        }
    }

    static boolean timeOut() throws Exception {
        try (ServerSocket listener = new ServerSocket(0, 5, HERE);
             Socket socket = new Socket(HERE, listener.getLocalPort())) {
            socket.setSoTimeout(50);
            socket.getInputStream().read();
            return false;
        } catch (SocketTimeoutException expected) {
            return true;
        }
    }

    static boolean channel() throws Exception {
        try (ServerSocket listener = new ServerSocket(0, 5, HERE)) {
            Thread thread = answering(listener);
            boolean right = true;
            try (SocketChannel channel = SocketChannel.open(new InetSocketAddress(HERE, listener.getLocalPort()))) {
                for (int turn = 0; turn < 100; ++turn) {
                    channel.write(ByteBuffer.wrap("\0\4turn".getBytes(StandardCharsets.ISO_8859_1)));
                    ByteBuffer answer = ByteBuffer.allocate(6);
                    while (answer.hasRemaining() && channel.read(answer) >= 0);
                    right &= new String(answer.array(), 2, 4, StandardCharsets.ISO_8859_1).equals("TURN");
                }
            }
            thread.join();
            return right;
        }
    }

    static boolean datagrams() throws Exception {
        try (DatagramSocket first = new DatagramSocket(0, HERE);
             DatagramSocket second = new DatagramSocket(0, HERE)) {
            boolean right = true;
            second.setSoTimeout(5000);
            for (boolean connected : new boolean[] {false, true}) {
                if (connected) first.connect(second.getLocalSocketAddress());
                byte[] words = ("connected: " + connected).getBytes(StandardCharsets.UTF_8);
                first.send(new DatagramPacket(words, words.length, second.getLocalSocketAddress()));
                DatagramPacket received = new DatagramPacket(new byte[100], 100);
                second.receive(received);
                right &= received.getPort() == first.getLocalPort()
                    && Arrays.equals(words, Arrays.copyOf(received.getData(), received.getLength()));
            }
            return right;
        }
    }

    static boolean refused() throws Exception {
        int port;
        try (ServerSocket listener = new ServerSocket(0, 5, HERE)) {
            port = listener.getLocalPort();
        }
        try (Socket socket = new Socket(HERE, port)) {
            return false;
        } catch (java.net.ConnectException expected) {
            return expected.getMessage().equals("Connection refused");
        }
    }
}
